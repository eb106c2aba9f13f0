#include "services/Sha256.h"

#include <QCryptographicHash>

struct Sha256::State {
    QCryptographicHash hash {QCryptographicHash::Sha256};
};

Sha256::Sha256() : m_state(std::make_unique<State>()) {}
Sha256::~Sha256() = default;

void Sha256::add(QByteArrayView bytes)
{
    m_state->hash.addData(bytes);
}

QString Sha256::hexDigest()
{
    return QString::fromLatin1(m_state->hash.result().toHex());
}
