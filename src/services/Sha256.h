#pragma once

#include <QByteArrayView>
#include <QString>

#include <memory>

/// SHA-256 over bytes given in pieces, for checking packages as they arrive.
class Sha256 {
public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256 &) = delete;
    Sha256 &operator=(const Sha256 &) = delete;

    void add(QByteArrayView bytes);
    /// 64 lower-case hex digits. Ends the hashing: nothing may be added afterwards.
    [[nodiscard]] QString hexDigest();

private:
    struct State;
    std::unique_ptr<State> m_state;
};
