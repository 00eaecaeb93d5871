#include "eventwords.h"

#include "terminaltext.h"
#include "texts.h"

#include <QJsonArray>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

/// Each line with the address of its node.
QStringList TrafficWords(const QJsonObject& data)
{
    QStringList words;
    for (const QJsonValue line : data[u"lines"_s].toArray()) {
        constexpr qsizetype UinSize = 16;
        const bool isSubstation = data[u"port"_s] == "substation"_L1;
        const QString from = isSubstation ? Texts::tr("substation") : line[u"uin"_s].toString();
        words.append(from.leftJustified(UinSize) + u"  "_s + line[u"words"_s].toString());
    }
    return words;
}

QStringList LogWords(const QJsonObject& data)
{
    return {data[u"text"_s].toString()};
}

QStringList SweepWords(const QJsonObject& data)
{
    const QString rows = QString::number(data[u"rows"_s].toInt());
    const QString file = data[u"file"_s].toString();
    if (data[u"sweep"_s] == "clocks"_L1)
        return {Texts::tr("a sweep of the clocks has closed, clocks read: %1 (%2)").arg(rows, file)};
    return {
        Texts::tr("a sweep has closed, read: %1 of %2 (%3)").arg(QString::number(data[u"read"_s].toInt()), rows, file)};
}

QStringList AlarmWords(const QJsonObject& data)
{
    constexpr int CaseOpened = 55;
    constexpr int ModemStarted = 256;
    const int code = data[u"code"_s].toInt();
    if (code == CaseOpened)
        return {Texts::tr("ALARM: the case of meter %1 was opened").arg(data[u"globalId"_s].toInt())};
    if (code == ModemStarted)
        return {Texts::tr("ALARM: the modem was lost and is started anew")};
    return {Texts::tr("ALARM: the modem refuses, error %1").arg(code)};
}

QStringList LinkWords(const QJsonObject& data)
{
    const bool isAdmin = data[u"adminLink"_s].toBool();
    const bool isPeer = data[u"peerLink"_s].toBool();
    if (isAdmin && isPeer)
        return {Texts::tr("the daemon is connected")};
    return {isAdmin || isPeer ? Texts::tr("the daemon is connected by one of two links")
                              : Texts::tr("the daemon is not connected")};
}

/// The hub's answer to who was away for long.
QStringList GapWords(const QJsonObject&)
{
    return {Texts::tr("events are missing here: more happened meanwhile than the hub keeps")};
}

struct Kind {
    QLatin1StringView key;
    QStringList (*words)(const QJsonObject& data);
};

constexpr std::array<Kind, 6> Kinds{{
    {"traffic"_L1, TrafficWords},
    {"log"_L1, LogWords},
    {"sweep"_L1, SweepWords},
    {"alarm"_L1, AlarmWords},
    {"link"_L1, LinkWords},
    {"gap"_L1, GapWords},
}};

/// Of a kind without words of its own: its text, or all that it tells.
QStringList AnyWords(QJsonObject data)
{
    if (data.contains(u"text"_s))
        return LogWords(data);
    data.remove(u"at"_s);
    data.remove(u"controller"_s);
    return {TerminalText::OfJson(data, TerminalText::Json::OneLine)};
}

} // namespace

QStringList EventWords(const QString& kind, const QJsonObject& data, bool withController)
{
    const auto* const known =
        std::find_if(Kinds.begin(), Kinds.end(), [&kind](const Kind& candidate) { return candidate.key == kind; });
    constexpr qsizetype TimeSize = 23;
    constexpr qsizetype KindSize = 8;
    const QString time = data[u"at"_s].toString().left(TimeSize).replace(u'T', u' ');
    const QString controller = withController ? data[u"controller"_s].toString() + u' ' : QString();
    QStringList lines;
    for (const QString& words : known == Kinds.end() ? AnyWords(data) : known->words(data))
        lines.append(TerminalText::OfLine(
            time.leftJustified(TimeSize) + u' ' + controller + kind.leftJustified(KindSize) + u' ' + words));
    return lines;
}
