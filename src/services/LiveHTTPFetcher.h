#pragma once

#include "services/HTTPFetching.h"

/// HTTPFetching over QNetworkAccessManager. Each call makes its own manager on the calling thread
/// and waits for the reply in a local event loop, so any thread may call it (the thread needs no
/// running event loop of its own).
class LiveHTTPFetcher final : public HTTPFetching {
public:
    [[nodiscard]] HTTPResponse fetch(const HTTPRequest &request,
                                     ProcessCancellation *cancellation) const override;
    [[nodiscard]] HTTPResponse download(const HTTPRequest &request, const QString &destination,
                                        const ProgressHandler &onProgress,
                                        ProcessCancellation *cancellation) const override;
};
