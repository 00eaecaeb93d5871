#pragma once

#include "passage.h"

#include <QByteArrayList>
#include <QDateTime>

#include <functional>
#include <map>

/// What one answer holds, and what the play has spoiled in it.
struct ReportedAnswer {
    QByteArray uin;
    QByteArray model;
    QByteArray kind; ///< "energy", "clock" or "alarm"
    QByteArray values; ///< kWh, the total first, then the tariffs; or what the clock shows; separated by blanks
    QByteArray flaw; ///< "" or "checksum", "garbage", "half"
};

/// The account of a play: one CSV line for each answer, and the sums for the end.
///
///     time,uin,model,kind,values,flaw,whole
///     2014-03-04T08:30:11.250,000D6F0000001003,SET3,energy,1000.00 100.00 200.00 300.00 400.00,,yes
///
/// The time is when its last byte went to the daemon, or would have; `whole` is PassageName(): "yes" for what the
/// daemon was given.
class AnswerReport final {
public:
    using Sink = std::function<void(const QByteArray& line)>;

    /// `sink` gets each line without its line end, the column names first.
    explicit AnswerReport(Sink sink = {});

    void Asked(const QByteArray& uin) { ++tallies[uin].asked; }
    void Sent(const QDateTime& time, const ReportedAnswer& answer, Passage passage);

    /// Something that the node was told, e.g. the collector's address; the last of each `kind` counts.
    void Told(const QByteArray& uin, const QByteArray& kind, const QByteArray& value)
    {
        tallies[uin].told[kind] = value;
    }

    /// A line for each meter that was spoken to or spoke, and one for all.
    [[nodiscard]] QByteArrayList Summary() const;

private:
    struct Tally {
        qint64 asked = 0;
        qint64 answered = 0;
        qint64 lost = 0;
        qint64 alarms = 0;
        std::map<QByteArray, QByteArray> told;
    };

    [[nodiscard]] static QByteArray Text(const QByteArray& name, const Tally& tally);

    Sink writeLine;
    std::map<QByteArray, Tally> tallies;
};
