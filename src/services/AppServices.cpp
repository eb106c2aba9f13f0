#include "services/AppServices.h"

#include "services/LiveFileSystem.h"
#include "services/LiveHTTPFetcher.h"
#include "services/LiveKeyValueStore.h"
#include "services/LiveProcessRunner.h"

AppServices AppServices::live()
{
    return AppServices {
        std::make_shared<LiveProcessRunner>(),
        std::make_shared<LiveHTTPFetcher>(),
        std::make_shared<LiveFileSystem>(),
        std::make_shared<LiveKeyValueStore>(),
        false,
    };
}
