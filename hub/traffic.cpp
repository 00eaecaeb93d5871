// The live view: bytes of the serial lines with what they mean. It is on in a daemon while somebody wants it.

#include "answerwords.h"
#include "clock.h"
#include "hub.h"
#include "metermodel.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

QJsonObject Line(const QByteArray& uin, const QString& kind, const QString& words)
{
    return {{u"uin"_s, QString::fromLatin1(uin)}, {u"kind"_s, kind}, {u"words"_s, words}};
}

} // namespace

/// In pieces that every reader's buffer has room for.
void Hub::TellTraffic(Station& station, bool fromSubstationMeter, const QByteArray& bytes)
{
    constexpr qsizetype MostBytes = 4096;
    for (qsizetype at = 0; at < bytes.size(); at += MostBytes) {
        const QByteArray piece = bytes.mid(at, MostBytes);
        Tell(station, EventKind::Traffic,
            {{u"port"_s, fromSubstationMeter ? u"substation"_s : u"modem"_s},
                {u"bytes"_s, QString::fromLatin1(piece.toHex())},
                {u"lines"_s, WordsOf(station, fromSubstationMeter, piece)}});
    }
}

QJsonArray Hub::WordsOf(Station& station, bool fromSubstationMeter, const QByteArray& bytes)
{
    QJsonArray lines;
    if (fromSubstationMeter) {
        const AnswerWords said = WordsOfSubstation(bytes, station.substationModel, station.substationNumber);
        lines.append(Line({}, said.kind, said.words));
        return lines;
    }
    for (const TrafficLine& line : station.words.Take(bytes)) {
        lines.append(Line(line.uin, line.kind, line.words));
        if (!line.uin.isEmpty())
            station.ledger->NodeHeard(QString::fromLatin1(line.uin), CurrentDateTime());
    }
    return lines;
}

void Hub::KeepModels(Station& station)
{
    station.models.clear();
    station.substationModel = nullptr;
    for (const SiteLedger::MeterNow& now : station.ledger->MetersNow()) {
        const MeterModel* const model = FindMeterModel(now.meter.model);
        if (!now.meter.isSubstation) {
            station.models.insert(now.meter.uin.toUtf8(), model);
        } else if (!station.substationModel) {
            station.substationModel = model;
            station.substationNumber = now.meter.number;
        }
    }
}

void Hub::WatchTraffic(bool wanted)
{
    trafficWatched = wanted;
    for (const auto& station : stations)
        SwitchLiveView(*station);
}

void Hub::SwitchLiveView(Station& station)
{
    station.link->WantLiveView(settings.trafficAlways || trafficWatched || station.liveViewByCommand);
}
