#include "apiparameters.h"

#include "shown.h"

#include <QRegularExpression>
#include <QTimeZone>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int DaysWithoutFrom = 7;
constexpr int MostDays = 366;
constexpr int FirstYear = 1970;
constexpr int LastYear = 2199;

ApiError Wrong(const QString& text)
{
    return {.status = 400, .text = text};
}

/// A stranger's text between quotes.
QString Quoted(const QString& text)
{
    return u'"' + Shown(text.toUtf8()) + u'"';
}

ApiError NoTime(QLatin1StringView name, const QString& value)
{
    return Wrong(
        u"\"%1\" is %2: give a day, 2014-03-04, or a time, 2014-03-04T08:30:00, if need be with Z or +04:00"_s.arg(
            name, Quoted(value)));
}

std::optional<QDate> ParseDay(const QString& text)
{
    static const QRegularExpression form(u"\\A[0-9]{4}-[0-9]{2}-[0-9]{2}\\z"_s);
    if (!form.match(text).hasMatch())
        return {};
    const QDate day = QDate::fromString(text, Qt::ISODate);
    if (!day.isValid() || day.year() < FirstYear || day.year() > LastYear)
        return {};
    return day;
}

/// Seconds east of Greenwich; none of a text that is no zone, or of this machine's zone.
std::optional<int> ParseZone(const QRegularExpressionMatch& match)
{
    if (match.captured(u"zone"_s) == "Z"_L1)
        return 0;
    const int hours = match.captured(u"zoneHours"_s).toInt();
    const int minutes = match.captured(u"zoneMinutes"_s).toInt();
    if (hours > 14 || minutes > 59)
        return {};
    const int seconds = (hours * 60 + minutes) * 60;
    return match.captured(u"sign"_s) == "-"_L1 ? -seconds : seconds;
}

std::optional<QDateTime> ParseMoment(const QString& text)
{
    static const QRegularExpression form(
        u"\\A(?<day>[0-9-]{10})T(?<hour>[0-9]{2}):(?<minute>[0-9]{2})(:(?<second>[0-9]{2}))?"
        "(?<zone>Z|(?<sign>[+-])(?<zoneHours>[0-9]{2}):?(?<zoneMinutes>[0-9]{2}))?\\z"_s);
    const QRegularExpressionMatch match = form.match(text);
    const std::optional<QDate> day = ParseDay(match.captured(u"day"_s));
    const QTime time(match.captured(u"hour"_s).toInt(), match.captured(u"minute"_s).toInt(),
        match.captured(u"second"_s).toInt()); // QTime would read 24:00 as the day's first moment
    if (!day || !time.isValid())
        return {};
    if (match.captured(u"zone"_s).isEmpty()) {
        const QDateTime local(*day, time);
        return local.isValid() ? std::optional(local) : std::nullopt;
    }
    const std::optional<int> offset = ParseZone(match);
    if (!offset)
        return {};
    return QDateTime(*day, time, Qt::OffsetFromUTC, *offset).toLocalTime();
}

QString Joined(std::span<const QLatin1StringView> words)
{
    QStringList list;
    for (const QLatin1StringView word : words)
        list += word;
    return list.join(u", "_s);
}

} // namespace

std::variant<ApiParameters, ApiError> ApiParameters::Take(const Query& query, std::span<const QLatin1StringView> known)
{
    ApiParameters taken;
    for (const auto& parameter : query) {
        const QString& name = parameter.first;
        if (std::find(known.begin(), known.end(), name) == known.end())
            return Wrong(known.empty() ? u"there is no parameter %1 here"_s.arg(Quoted(name))
                                       : u"there is no parameter %1 here, only: %2"_s.arg(Quoted(name), Joined(known)));
        if (taken.Text(name))
            return Wrong(u"the parameter \"%1\" came twice"_s.arg(name));
        taken.query += parameter;
    }
    return taken;
}

std::optional<QString> ApiParameters::Text(QAnyStringView name) const
{
    for (const auto& [key, value] : query)
        if (QAnyStringView(key) == name)
            return value;
    return {};
}

std::variant<QString, ApiError> ApiParameters::Controller(const QStringList& names) const
{
    const std::optional<QString> name = Text("controller"_L1);
    if (!name && !names.isEmpty())
        return names.constFirst();
    if (name && names.contains(*name))
        return *name;
    return ApiError{.status = 404,
        .text =
            u"there is no controller %1 here, only: %2"_s.arg(Quoted(name.value_or(QString())), names.join(u", "_s))};
}

std::variant<TimeRange, ApiError> ApiParameters::Times(const QDateTime& now) const
{
    TimeRange range{.from = {}, .to = now};
    if (const std::optional<QString> text = Text("to"_L1)) {
        const std::optional<QDate> day = ParseDay(*text);
        const std::optional<QDateTime> moment = day ? day->addDays(1).startOfDay() : ParseMoment(*text);
        if (!moment)
            return NoTime("to"_L1, *text);
        range.to = *moment;
    }
    range.from = range.to.addDays(-DaysWithoutFrom);
    if (const std::optional<QString> text = Text("from"_L1)) {
        const std::optional<QDate> day = ParseDay(*text);
        const std::optional<QDateTime> moment = day ? day->startOfDay() : ParseMoment(*text);
        if (!moment)
            return NoTime("from"_L1, *text);
        range.from = *moment;
    }
    if (range.from > range.to)
        return Wrong(u"\"from\" is after \"to\""_s);
    if (range.from.addDays(MostDays) < range.to)
        return Wrong(u"from \"from\" to \"to\" are more than %1 days"_s.arg(MostDays));
    return range;
}

std::variant<AskedDays, ApiError> ApiParameters::Days(QDate today) const
{
    AskedDays range{.from = {}, .to = today};
    if (const std::optional<QString> text = Text("to"_L1)) {
        const std::optional<QDate> day = ParseDay(*text);
        if (!day)
            return Wrong(u"\"to\" is %1: give a day, 2014-03-04"_s.arg(Quoted(*text)));
        range.to = *day;
    }
    range.from = range.to.addDays(1 - DaysWithoutFrom);
    if (const std::optional<QString> text = Text("from"_L1)) {
        const std::optional<QDate> day = ParseDay(*text);
        if (!day)
            return Wrong(u"\"from\" is %1: give a day, 2014-03-04"_s.arg(Quoted(*text)));
        range.from = *day;
    }
    if (range.from > range.to)
        return Wrong(u"\"from\" is after \"to\""_s);
    if (range.from.daysTo(range.to) >= MostDays)
        return Wrong(u"from \"from\" to \"to\" are more than %1 days"_s.arg(MostDays));
    return range;
}

std::variant<std::optional<qint64>, ApiError> ApiParameters::Meter() const
{
    const std::optional<QString> text = Text("meter"_L1);
    if (!text)
        return std::optional<qint64>();
    static const QRegularExpression form(u"\\A-?[0-9]{1,18}\\z"_s);
    if (!form.match(*text).hasMatch())
        return Wrong(u"\"meter\" is %1: give the meter's global_id, a number"_s.arg(Quoted(*text)));
    return std::optional<qint64>(text->toLongLong());
}

std::variant<QSet<QByteArray>, ApiError> ApiParameters::Kinds(std::span<const QLatin1StringView> known) const
{
    QSet<QByteArray> kinds;
    for (const QString& kind : Text("kinds"_L1).value_or(QString()).split(u',', Qt::SkipEmptyParts)) {
        if (std::find(known.begin(), known.end(), kind) == known.end())
            return Wrong(u"there are no events of the kind %1, only: %2"_s.arg(Quoted(kind), Joined(known)));
        kinds += kind.toLatin1();
    }
    return kinds;
}
