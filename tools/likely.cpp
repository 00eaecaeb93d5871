#include "likely.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace {

/// How many letters must be changed, put in or left out to make `b` of `a`.
qsizetype Distance(const QString& a, const QString& b)
{
    QList<qsizetype> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (qsizetype i = 0; i < a.size(); ++i) {
        qsizetype diagonal = std::exchange(row[0], i + 1);
        for (qsizetype j = 0; j < b.size(); ++j) {
            const qsizetype best =
                std::min({row[j] + 1, row[j + 1] + 1, diagonal + (a[i].toLower() == b[j].toLower() ? 0 : 1)});
            diagonal = std::exchange(row[j + 1], best);
        }
    }
    return row.last();
}

} // namespace

QString LikelyOf(const QStringList& known, const QString& word)
{
    QString likely;
    qsizetype least = std::clamp<qsizetype>(word.size() / 3, 1, 3) + 1; // of a short word, little may be wrong
    for (const QString& candidate : known) {
        const qsizetype distance = Distance(word, candidate);
        if (distance < least) {
            least = distance;
            likely = candidate;
        }
    }
    return likely;
}
