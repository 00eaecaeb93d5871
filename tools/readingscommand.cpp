#include "readingscommand.h"

#include "clock.h"
#include "ledgermeters.h"
#include "progress.h"
#include "readingswriter.h"
#include "siteoptions.h"
#include "texts.h"

#include <QSqlError>
#include <QVariant>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const auto ConnectionName = u"readings"_s;

// In the order of the index, so that nothing is gathered and sorted first. The time as text: a centre holds true times.
const auto Rows = u"SELECT date_r, CAST(time_r AS text), global_id, status, pwr, pwr1, pwr2, pwr3, pwr4 "
                  "FROM \"Main_Data\" WHERE date_r >= ? AND date_r <= ? %1ORDER BY date_r, time_r, global_id"_s;

/// What the options say.
struct Asked {
    QDate from;
    QDate to;
    QString meter; ///< empty: all
    std::unique_ptr<ReadingsWriter> writer;
};

std::optional<Asked> Understood(const CommandLine& line)
{
    const QDate today = CurrentDateTime().date();
    const auto date = [&](const QString& option, QDate usual) {
        const QString text = line.Option(option);
        return text.isEmpty() ? usual : QDate::fromString(text, u"yyyy-MM-dd"_s);
    };
    Asked asked;
    asked.from = date(u"from"_s, today);
    asked.to = date(u"to"_s, std::max(today, asked.from));
    asked.meter = line.Option(u"meter"_s);
    asked.writer = ReadingsWriterFor(line.Option(u"format"_s), stdout);
    if (asked.from.isValid() && asked.to.isValid() && asked.from <= asked.to && asked.writer)
        return asked;
    Complain(Texts::tr("--from and --to take dates yyyy-MM-dd in order, --format table, csv or json."));
    return std::nullopt;
}

QHash<qint32, LedgerMeter> ById(const QList<LedgerMeter>& meters)
{
    QHash<qint32, LedgerMeter> known;
    for (const LedgerMeter& meter : meters)
        known.insert(meter.globalId, meter);
    return known;
}

/// By its UIN, or else its key, which an exchanged meter may have had that is in no register any more.
std::optional<qint32> IdOf(const QString& meter, const QList<LedgerMeter>& meters)
{
    const auto named =
        std::find_if(meters.begin(), meters.end(), [&](const LedgerMeter& known) { return known.uin == meter; });
    if (named != meters.end())
        return named->globalId;
    bool isNumber = false;
    const qint32 globalId = meter.toInt(&isNumber);
    return isNumber ? std::optional(globalId) : std::nullopt;
}

/// A text of the database that is to be a date or a time; nothing in it ends a quoted text or a line.
QByteArray Stamp(const QVariant& value)
{
    QByteArray text = value.toString().toLatin1();
    const auto isOdd = [](char c) { return c < ' ' || c > '~' || c == '"' || c == '\\' || c == ','; };
    std::replace_if(text.begin(), text.end(), isOdd, '?');
    return text;
}

WrittenReading ReadingIn(const QSqlQuery& query)
{
    constexpr int FirstEnergy = 4;
    WrittenReading reading{Stamp(query.value(0)), Stamp(query.value(1)), {}};
    reading.row.globalId = query.value(2).toInt();
    reading.row.status = query.value(3).toInt();
    for (size_t i = 0; i < reading.row.energy.size(); ++i)
        reading.row.energy[i] = query.value(FirstEnergy + static_cast<int>(i)).toDouble();
    return reading;
}

/// False when the database failed, or the output did.
bool WriteRows(QSqlQuery& query, const Asked& asked, const QHash<qint32, LedgerMeter>& meters)
{
    Progress progress(Texts::tr("Reading"));
    const double days = static_cast<double>(asked.from.daysTo(asked.to)) + 1;
    QByteArray lastDate;
    asked.writer->Begin();
    while (query.next()) {
        const WrittenReading reading = ReadingIn(query);
        if (reading.date != lastDate) {
            lastDate = reading.date;
            const QDate date = QDate::fromString(QString::fromLatin1(lastDate), u"yyyy-MM-dd"_s);
            progress.Reached(static_cast<double>(asked.from.daysTo(date)) / days);
        }
        const auto meter = meters.constFind(reading.row.globalId);
        asked.writer->Add(reading, meter == meters.constEnd() ? nullptr : &*meter);
    }
    if (query.lastError().isValid())
        return false;
    asked.writer->End();
    return asked.writer->Flush();
}

int Write(SiteDatabase& database, const SysVar& vars, const Asked& asked)
{
    const auto registered = database.Rows();
    if (!registered)
        return ComplainOfAll({database.Error()});
    const QList<LedgerMeter> meters = LedgerMetersOf(*registered, vars.field.Has(FieldConduct::Ce102));
    QSqlQuery query(database.Connection());
    query.setForwardOnly(true);
    std::optional<qint32> globalId;
    if (!asked.meter.isEmpty()) {
        globalId = IdOf(asked.meter, meters);
        if (!globalId)
            return ComplainOfAll({Texts::tr("There is no meter \"%1\" in the register.").arg(asked.meter)});
    }
    bool isAsked = query.prepare(Rows.arg(globalId ? u"AND global_id = ? "_s : QString()));
    query.addBindValue(asked.from.toString(u"yyyy-MM-dd"_s));
    query.addBindValue(asked.to.toString(u"yyyy-MM-dd"_s));
    if (globalId)
        query.addBindValue(*globalId);
    isAsked = isAsked && query.exec();
    if (isAsked && WriteRows(query, asked, ById(meters)))
        return Done;
    const QString reason = query.lastError().text().simplified();
    return ComplainOfAll({reason.isEmpty() ? Texts::tr("The rows cannot be written: %1").arg(qt_error_string())
                                           : database.Name() + u": "_s + reason});
}

} // namespace

int RunReadings(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Writes the rows of the readings, by time and meter, as they are: also those of silence, and "
                  "why. Of the\ndaemon's database, or of one controller at a centre."),
        CommandLine::Takes::Nothing);
    AddSiteOptions(line);
    line.AddOption(u"from"_s, Texts::tr("date"), Texts::tr("The first day, yyyy-MM-dd (default: today)."), {});
    line.AddOption(u"to"_s, Texts::tr("date"), Texts::tr("The last day (default: today)."), {});
    line.AddOption(u"meter"_s, Texts::tr("meter"), Texts::tr("One meter alone: its UIN, or its global_id."), {});
    line.AddOption(u"format"_s, Texts::tr("format"), Texts::tr("table, csv or json (default: table)."), u"table"_s);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const std::optional<Asked> asked = Understood(line);
    if (!asked)
        return WrongUsage;
    const std::optional<SiteChoice> site = ChosenSite(line);
    if (!site)
        return Problems;
    SiteDatabase database(site->vars, ConnectionName, site->centre);
    if (!database.OpenToRead())
        return ComplainOfAll({database.Error()});
    return Write(database, site->vars, *asked);
}
