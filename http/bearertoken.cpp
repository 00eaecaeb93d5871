#include "bearertoken.h"

#include <QCryptographicHash>

using namespace Qt::StringLiterals;

bool BearerFits(const QByteArray& authorization, const QByteArray& token)
{
    constexpr QByteArrayView scheme = "bearer ";
    if (token.isEmpty() || !authorization.first(qMin(authorization.size(), scheme.size())).toLower().startsWith(scheme))
        return false;
    // The digests are of one length and tell nothing of the bytes that differ.
    const QByteArray offered =
        QCryptographicHash::hash(authorization.sliced(scheme.size()).trimmed(), QCryptographicHash::Sha256);
    const QByteArray wanted = QCryptographicHash::hash(token, QCryptographicHash::Sha256);
    int difference = 0;
    for (qsizetype at = 0; at < wanted.size(); ++at)
        difference |= offered[at] ^ wanted[at];
    return difference == 0;
}
