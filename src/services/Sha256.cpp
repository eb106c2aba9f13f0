#include "services/Sha256.h"

#if defined(TARNWICK_SHA256_COMMONCRYPTO)
#include <CommonCrypto/CommonDigest.h>
#elif defined(TARNWICK_SHA256_OPENSSL)
#include <openssl/evp.h>
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

struct Sha256::State {
    EVP_MD_CTX *context = EVP_MD_CTX_new();
    State()
    {
        if (!context || EVP_DigestInit_ex(context, EVP_sha256(), nullptr) != 1)
            throw std::runtime_error("SHA-256 is not available");
    }
    ~State() { EVP_MD_CTX_free(context); }
    State(const State &) = delete;
    State &operator=(const State &) = delete;
    void add(QByteArrayView bytes) { EVP_DigestUpdate(context, bytes.data(), static_cast<size_t>(bytes.size())); }
    QByteArray result()
    {
        QByteArray digest(EVP_MAX_MD_SIZE, '\0');
        unsigned int length = 0;
        EVP_DigestFinal_ex(context, reinterpret_cast<unsigned char *>(digest.data()), &length);
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
