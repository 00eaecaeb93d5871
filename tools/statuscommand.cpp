// How the daemons fare, as their hub sees them: for people, and by the exit code for scripts.

#include "statuscommand.h"

#include "hubcommand.h"
#include "terminaltext.h"
#include "texts.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

QString Time(const QJsonValue& time)
{
    constexpr qsizetype ToSeconds = 19;
    return time.isString() ? time.toString().left(ToSeconds).replace(u'T', u' ') : Texts::tr("unknown");
}

QString Known(const QString& text)
{
    return text.isEmpty() ? Texts::tr("unknown") : text;
}

QString DaemonWords(const QJsonObject& daemon)
{
    const QString since = Time(daemon[u"since"_s]);
    return daemon[u"connected"_s].toBool()
        ? Texts::tr("connected since %1, last heard of %2").arg(since, Time(daemon[u"lastHeard"_s]))
        : Texts::tr("not connected since %1").arg(since);
}

QString ModemWords(const QJsonObject& modem)
{
    const QString state = modem[u"state"_s].toString();
    if (state == "working"_L1)
        return Texts::tr("working");
    if (state == "deaf"_L1)
        return Texts::tr("deaf since %1").arg(Time(modem[u"since"_s]));
    return Texts::tr("not known whether it works");
}

QString DatabaseWords(const QJsonObject& database)
{
    const QString kind = Known(database[u"kind"_s].toString());
    return database[u"reachable"_s].toBool()
        ? Texts::tr("%1, can be read").arg(kind)
        : Texts::tr("%1, cannot be read: %2").arg(kind, Known(database[u"error"_s].toString()));
}

QString LastSweepWords(const QJsonObject& sweep)
{
    if (sweep.isEmpty())
        return Texts::tr("none is known");
    const QString words = Texts::tr("%1, %2 of %3 meters read")
                              .arg(Time(sweep[u"at"_s]), QString::number(sweep[u"read"_s].toInt()),
                                  QString::number(sweep[u"meters"_s].toInt()));
    const QJsonValue seconds = sweep[u"durationSeconds"_s];
    return seconds.isDouble() ? words + Texts::tr(", in %1 s").arg(seconds.toDouble(), 0, 'f', 0) : words;
}

QString TodayWords(const QJsonObject& today)
{
    return Texts::tr("readings due: %1, there: %2 (%3 %), of these late: %4")
        .arg(QString::number(today[u"due"_s].toInt()), QString::number(today[u"read"_s].toInt()),
            QString::number(today[u"percent"_s].toDouble(), 'f', 1), QString::number(today[u"late"_s].toInt()));
}

void TellAsText(const QJsonObject& status)
{
    const auto line = [](const QString& name, const QString& words) {
        Tell(TerminalText::OfLine(u"  "_s + name + u": "_s + words));
    };
    const bool isWell = status[u"well"_s].toBool();
    const QString name = status[u"controller"_s].toString();
    Tell(TerminalText::OfLine((isWell ? Texts::tr("%1, %2: all is well") : Texts::tr("%1, %2: not all is well"))
                                  .arg(name, Time(status[u"now"_s]))));
    for (const QJsonValue problem : status[u"problems"_s].toArray())
        Tell(TerminalText::OfLine(u"! "_s + problem[u"text"_s].toString()));
    line(Texts::tr("daemon"), DaemonWords(status[u"daemon"_s].toObject()));
    line(Texts::tr("modem"), ModemWords(status[u"modem"_s].toObject()));
    line(Texts::tr("database"), DatabaseWords(status[u"database"_s].toObject()));
    line(Texts::tr("last sweep"), LastSweepWords(status[u"lastSweep"_s].toObject()));
    line(Texts::tr("next sweep"),
        Texts::tr("%1, of the clocks %2").arg(Time(status[u"nextSweep"_s]), Time(status[u"nextClockSweep"_s])));
    line(Texts::tr("today"), TodayWords(status[u"today"_s].toObject()));
    line(Texts::tr("open incidents"), QString::number(status[u"openIncidents"_s].toInt()));
    if (const QJsonObject mqtt = status[u"mqtt"_s].toObject(); mqtt[u"configured"_s].toBool())
        line(u"MQTT"_s, mqtt[u"connected"_s].toBool() ? Texts::tr("connected") : Texts::tr("not connected"));
}

/// Of the daemon `controller`, or of all when that is empty. None after the reason was told.
std::optional<QList<QJsonObject>> Ask(const HubClient& hub, const QString& controller)
{
    QList<QJsonObject> all;
    QStringList names{controller};
    for (qsizetype i = 0; i < names.size(); ++i) {
        const HubAnswer answer = hub.Get(HubCommand::Target(u"/api/status"_s, names[i]));
        if (!answer.problem.isEmpty()) {
            Complain(TerminalText::OfLine(answer.problem));
            return std::nullopt;
        }
        all.append(answer.body);
        if (controller.isEmpty() && i == 0)
            for (const QJsonValue name : answer.body[u"controllers"_s].toArray())
                if (name != answer.body[u"controller"_s])
                    names.append(name.toString());
    }
    return all;
}

} // namespace

int RunStatus(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Asks the hub how its daemons fare, and says in words what is not well.\nExit code: 0 daemon, modem "
                  "and database work and the last due sweep was made, 3 something is not\nwell, 1 the hub cannot be "
                  "asked, 2 wrong usage."),
        CommandLine::Takes::Nothing);
    HubCommand::AddOptions(line);
    line.AddFlag(u"json"_s, Texts::tr("Tells all of it as one JSON object on stdout."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const std::optional<QString> controller = HubCommand::Controller(line);
    const auto all = controller ? Ask(HubCommand::Client(line), *controller) : std::nullopt;
    if (!all)
        return Problems;
    bool isWell = true;
    QJsonArray array;
    for (const QJsonObject& status : *all) {
        isWell = isWell && status[u"well"_s].toBool();
        array.append(status);
        if (!line.HasFlag(u"json"_s))
            TellAsText(status);
    }
    if (line.HasFlag(u"json"_s))
        Tell(TerminalText::OfJson({{u"well"_s, isWell}, {u"controllers"_s, array}}, TerminalText::Json::Indented));
    return isWell ? static_cast<int>(Done) : Found;
}
