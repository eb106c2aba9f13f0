#include "services/Sha256.h"

#if defined(TARNWICK_SHA256_COMMONCRYPTO)
#include <CommonCrypto/CommonDigest.h>
#elif defined(TARNWICK_SHA256_OPENSSL)
#include <QCryptographicHash>
#include <openssl/evp.h>

#include <dlfcn.h>
#include <optional>
#else
#include <QCryptographicHash>
#endif

#include <QByteArray>

#include <algorithm>
#include <stdexcept>

#if defined(TARNWICK_SHA256_COMMONCRYPTO)

struct Sha256::State {
    CC_SHA256_CTX context;
    State() { CC_SHA256_Init(&context); }
    void add(QByteArrayView bytes)
    {
        // CC_LONG is 32 bits wide.
        for (qsizetype offset = 0; offset < bytes.size(); offset += 1 << 30) {
            const QByteArrayView piece = bytes.sliced(offset, std::min<qsizetype>(bytes.size() - offset, 1 << 30));
            CC_SHA256_Update(&context, piece.data(), static_cast<CC_LONG>(piece.size()));
        }
    }
    QByteArray result()
    {
        QByteArray digest(CC_SHA256_DIGEST_LENGTH, '\0');
        CC_SHA256_Final(reinterpret_cast<unsigned char *>(digest.data()), &context);
        return digest;
    }
};

#elif defined(TARNWICK_SHA256_OPENSSL)

namespace {

// libcrypto is opened on the first digest instead of being linked: loading and binding it at
// launch cost every start of the app a few milliseconds before its first frame, for a digest that
// only a package download takes.
struct LibCrypto {
    decltype(&EVP_MD_CTX_new) newContext = nullptr;
    decltype(&EVP_MD_CTX_free) freeContext = nullptr;
    decltype(&EVP_sha256) sha256 = nullptr;
    decltype(&EVP_DigestInit_ex) init = nullptr;
    decltype(&EVP_DigestUpdate) update = nullptr;
    decltype(&EVP_DigestFinal_ex) finish = nullptr;

    // Null when the library or one of its functions is missing; it then stays open for the process.
    static const LibCrypto *instance()
    {
        static const std::optional<LibCrypto> opened = open();
        return opened ? &*opened : nullptr;
    }

private:
    template<typename Function>
    static bool resolve(void *library, const char *name, Function &function)
    {
        function = reinterpret_cast<Function>(dlsym(library, name));
        return function != nullptr;
    }

    static std::optional<LibCrypto> open()
    {
        void *library = dlopen(TARNWICK_LIBCRYPTO_SONAME, RTLD_NOW | RTLD_LOCAL);
        if (!library)
            return std::nullopt;
        LibCrypto crypto;
        if (resolve(library, "EVP_MD_CTX_new", crypto.newContext) && resolve(library, "EVP_MD_CTX_free", crypto.freeContext)
            && resolve(library, "EVP_sha256", crypto.sha256) && resolve(library, "EVP_DigestInit_ex", crypto.init)
            && resolve(library, "EVP_DigestUpdate", crypto.update) && resolve(library, "EVP_DigestFinal_ex", crypto.finish))
            return crypto;
        dlclose(library);
        return std::nullopt;
    }
};

} // namespace

// libcrypto when it opens, else Qt's (at half its speed).
struct Sha256::State {
    const LibCrypto *crypto = LibCrypto::instance();
    EVP_MD_CTX *context = nullptr;
    std::optional<QCryptographicHash> qtHash;

    State()
    {
        if (!crypto) {
            qtHash.emplace(QCryptographicHash::Sha256);
            return;
        }
        context = crypto->newContext();
        if (!context || crypto->init(context, crypto->sha256(), nullptr) != 1)
            throw std::runtime_error("SHA-256 is not available");
    }
    ~State()
    {
        if (context)
            crypto->freeContext(context);
    }
    State(const State &) = delete;
    State &operator=(const State &) = delete;
    void add(QByteArrayView bytes)
    {
        if (qtHash)
            qtHash->addData(bytes);
        else
            crypto->update(context, bytes.data(), static_cast<size_t>(bytes.size()));
    }
    QByteArray result()
    {
        if (qtHash)
            return qtHash->result();
        QByteArray digest(EVP_MAX_MD_SIZE, '\0');
        unsigned int length = 0;
        crypto->finish(context, reinterpret_cast<unsigned char *>(digest.data()), &length);
        digest.truncate(static_cast<qsizetype>(length));
        return digest;
    }
};

#else

struct Sha256::State {
    QCryptographicHash hash {QCryptographicHash::Sha256};
    void add(QByteArrayView bytes) { hash.addData(bytes); }
    QByteArray result() { return hash.result(); }
};

#endif

Sha256::Sha256() : m_state(std::make_unique<State>()) {}
Sha256::~Sha256() = default;

void Sha256::add(QByteArrayView bytes)
{
    m_state->add(bytes);
}

QString Sha256::hexDigest()
{
    return QString::fromLatin1(m_state->result().toHex());
}
