#include "registercarrier.h"

#include "centrestatements.h"
#include "clock.h"
#include "forwardtexts.h"
#include "log.h"
#include "sweepgap.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool AreSame(const QList<RegisterRow>& a, const QList<RegisterRow>& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const RegisterRow& one, const RegisterRow& other) {
        return std::all_of(RegisterColumns.begin(), RegisterColumns.end(),
            [&](const RegisterColumn& column) { return one.*column.field == other.*column.field; });
    });
}

} // namespace

RegisterCarrier::RegisterCarrier(
    const ForwardSettings& settings_, SourceFile& file_, DeliveredNotes& notes_, CentreLink& centre_)
    : settings(settings_),
      file(file_),
      notes(notes_),
      centre(centre_)
{
}

QString RegisterCarrier::Carry(const QByteArray& version)
{
    LookForRows();
    const auto local = file.Register();
    if (!local)
        return {}; // the delivery of rows tells of it
    if (version == alike && AreSame(*local, localThen))
        return {};
    const Registers registers = Read();
    if (!registers.problem.isEmpty())
        return registers.problem;
    if (!AreSame(*local, registers.atCentre)) {
        if (settings.which == ForwardSettings::Register::Local)
            return Up(*local);
        Down(registers, *local);
        return {};
    }
    alike = registers.version;
    localThen = *local;
    notes.Note(u"register"_s, {});
    return {};
}

RegisterCarrier::Registers RegisterCarrier::Read()
{
    const auto begun = centre.Run(CentreStatements::BeginReading);
    const auto self = centre.Run(CentreStatements::Self);
    const auto meters = centre.Run(CentreStatements::Register);
    const auto ended = centre.Run("COMMIT");
    Registers registers;
    for (const auto* outcome : {&ended, &meters, &self, &begun})
        if (!outcome->done)
            registers.problem = outcome->error;
    if (!registers.problem.isEmpty() || self.rows.isEmpty())
        return registers;
    registers.version = self.rows[0][1];
    for (const QList<QByteArray>& values : meters.rows) {
        RegisterRow row;
        for (qsizetype i = 0; const RegisterColumn& column : RegisterColumns)
            row.*column.field = QString::fromUtf8(values[i++]);
        row.place = ForwardTexts::tr("the centre's register, global_id %1").arg(row.globalId);
        registers.atCentre.append(row);
    }
    return registers;
}

// A copy for those who read at the centre: what is wrong with it is the controller's to know.
QString RegisterCarrier::Up(const QList<RegisterRow>& rows)
{
    QByteArray statements = CentreStatements::Begin + "; "_ba + CentreStatements::ClearRegister;
    for (const RegisterRow& row : rows) {
        QList<QByteArray> values;
        for (const RegisterColumn& column : RegisterColumns)
            values.append(centre.Literal((row.*column.field).toUtf8()));
        statements += "; " + CentreStatements::Filled(CentreStatements::AddMeter, values);
    }
    const auto carried = centre.Run(statements + "; COMMIT");
    if (carried.done) {
        Done({}, ForwardTexts::tr("The register was carried to the centre, meters: %1").arg(rows.size()));
        return {};
    }
    static_cast<void>(centre.Run("ROLLBACK"));
    if (!carried.RefusesValues())
        return carried.error;
    Refuse(ForwardTexts::tr("The centre refuses the register: %1").arg(carried.error));
    return {};
}

void RegisterCarrier::Down(const Registers& registers, const QList<RegisterRow>& local)
{
    const QStringList problems = RegisterProblems(registers.atCentre);
    if (registers.atCentre.isEmpty())
        return Refuse(ForwardTexts::tr("The centre's register is empty; the one here stays as it is"));
    if (!problems.isEmpty())
        return Refuse(ForwardTexts::tr("The centre's register is refused, the one here stays as it is: %1")
                          .arg(problems.join("; "_L1)));
    if (!local.isEmpty() && !IsBetweenSweeps()) {
        notes.Note(u"register"_s, ForwardTexts::tr("The centre's register waits for the end of a sweep"));
        return;
    }
    if (!file.ReplaceRegister(registers.atCentre, newest))
        return Refuse(ForwardTexts::tr("The register is not changed: %1").arg(file.Error()));
    Done(registers.version,
        ForwardTexts::tr("The register of the centre holds from now on; %1").arg(RegisterSummary(registers.atCentre)));
}

void RegisterCarrier::LookForRows()
{
    std::array<qint64, 2> now{};
    for (std::size_t i = 0; i < now.size(); ++i)
        now[i] = file.NewestRow(SourceTables[i]).value_or(-1);
    if (now == newest)
        return;
    newest = now;
    newestSince = MonotonicMs();
}

bool RegisterCarrier::IsBetweenSweeps()
{
    const auto sweep = file.NewestSweep();
    if (!sweep)
        return false;
    const SysVar& daemon = settings.daemon;
    const SweepGap gap{.timeOfQuery = daemon.TimeOfQuery,
        .timeOfSetTime = daemon.TimeOfSetTime,
        .timeOfGetTime = daemon.TimeOfGetTime,
        .now = CurrentDateTime(),
        .quietMs = MonotonicMs() - newestSince,
        .newestSweep = sweep->date.isValid() ? QDateTime(sweep->date, sweep->time) : QDateTime(),
        .missing = sweep->missing};
    return gap.IsNow();
}

void RegisterCarrier::Refuse(const QString& why)
{
    notes.Note(u"register"_s, why);
    if (trouble.Fails(why))
        Log(why, Severity::Warning);
}

void RegisterCarrier::Done(const QByteArray& version, const QString& sentence)
{
    alike = version;
    localThen.clear();
    notes.Note(u"register"_s, {});
    trouble.Works(sentence);
    Log(sentence);
}
