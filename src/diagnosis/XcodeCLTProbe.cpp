#include "diagnosis/XcodeCLTProbe.h"

#include "diagnosis/Probes.h"

std::optional<QString> XcodeCLTProbe::probe(ProcessCancellation *cancellation) const
{
    return m_shell.trimmedAnswer(QStringLiteral("/usr/bin/xcode-select"), {QStringLiteral("-p")}, cancellation);
}
