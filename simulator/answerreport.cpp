#include "answerreport.h"

using namespace Qt::StringLiterals;

AnswerReport::AnswerReport(Sink sink) : writeLine(std::move(sink))
{
    if (writeLine)
        writeLine("time,uin,model,kind,values,flaw,whole"_ba);
}

void AnswerReport::Sent(const QDateTime& time, const ReportedAnswer& answer, Passage passage)
{
    Tally& tally = tallies[answer.uin];
    ++(passage != Passage::Whole ? tally.lost : answer.kind == "alarm" ? tally.alarms : tally.answered);
    if (writeLine)
        writeLine(QByteArrayList{time.toString(u"yyyy-MM-ddTHH:mm:ss.zzz"_s).toLatin1(), answer.uin, answer.model,
            answer.kind, answer.values, answer.flaw, PassageName(passage)}
                      .join(','));
}

QByteArrayList AnswerReport::Summary() const
{
    QByteArrayList lines;
    Tally all;
    for (const auto& [uin, tally] : tallies) {
        lines += Text(uin, tally);
        all.asked += tally.asked;
        all.answered += tally.answered;
        all.lost += tally.lost;
        all.alarms += tally.alarms;
    }
    return lines << Text("All meters"_ba, all);
}

QByteArray AnswerReport::Text(const QByteArray& name, const Tally& tally)
{
    QByteArray text = name + ": asked " + QByteArray::number(tally.asked) + ", answered "
        + QByteArray::number(tally.answered) + ", lost " + QByteArray::number(tally.lost);
    if (tally.alarms > 0)
        text += ", alarms " + QByteArray::number(tally.alarms);
    for (const auto& [kind, value] : tally.told)
        text += ", " + kind + ' ' + value;
    return text;
}
