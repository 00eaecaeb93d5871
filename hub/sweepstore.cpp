#include "sweepstore.h"

#include "log.h"
#include "shown.h"
#include "sweepfile.h"

#include <QDir>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace {

constexpr qsizetype MostWaiting = 200; // four days of sweeps each half hour
constexpr qsizetype MostRecordsWaiting = 100000; // some 20 MB
constexpr int TryAgainMs = 30000;
constexpr int LogPeriodMs = 3600000;

} // namespace

SweepStore::SweepStore(QString directory_, int keepDays_, QObject* parent)
    : QObject(parent),
      directory(std::move(directory_)),
      keepDays(keepDays_),
      again(new QTimer(this))
{
    connect(again, &QTimer::timeout, this, &SweepStore::WriteWaiting);
    auto* const hour = new QTimer(this);
    connect(hour, &QTimer::timeout, this, [this] { refusals.PeriodEnds(tr("... and %1 more refusals")); });
    hour->start(LogPeriodMs);
    for (const QString& controller : QDir(directory).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        SweepFile::Prune(directory + u'/' + controller, keepDays);
}

SweepStore::Taken SweepStore::Take(const QString& controller, const SweepMessage& message)
{
    if (!SweepFile::IsName(message.fileName, message.kind)) {
        refusals.Line(tr("A sweep of %1 is refused: its file name is \"%2\"")
                          .arg(controller, Shown(message.fileName.left(1000).toUtf8())));
        return Taken::Refused;
    }
    if (message.Records() == 0) {
        Log(tr("The sweep %1 of %2 has no rows: no file is made").arg(message.fileName, controller), Severity::Warning);
        return Taken::Empty;
    }
    if (message.bytesLeft > 0)
        Log(tr("The sweep %1 of %2 ends within a row: the rows before it are kept").arg(message.fileName, controller),
            Severity::Warning);
    waiting.append({controller, message});
    DropWhatIsTooMuch();
    WriteWaiting();
    const bool waits = std::any_of(waiting.begin(), waiting.end(), [&](const Waiting& sweep) {
        return sweep.controller == controller && sweep.message.fileName == message.fileName;
    });
    return waits ? Taken::Waits : Taken::Written;
}

void SweepStore::WriteWaiting()
{
    waiting.removeIf([this](const Waiting& sweep) { return Write(sweep); });
    if (waiting.isEmpty())
        again->stop();
    else
        again->start(TryAgainMs);
}

bool SweepStore::Write(const Waiting& sweep)
{
    const QString path = directory + u'/' + sweep.controller;
    QString reason;
    const bool isWritten = SweepFile::Write(path, sweep.message, reason);
    const QString text = isWritten ? tr("Sweep files are written to %1 again").arg(path)
                                   : tr("Sweep files cannot be written to %1: %2").arg(path, reason);
    Necessity& necessity = writing[sweep.controller];
    if (isWritten ? necessity.Works(text) : necessity.Fails(text))
        Log(text, isWritten ? Severity::Info : Severity::Error);
    if (isWritten)
        Prune(sweep.controller, SweepFile::DayOf(sweep.message.fileName));
    return isWritten;
}

void SweepStore::DropWhatIsTooMuch()
{
    qsizetype records = 0;
    for (const Waiting& sweep : std::as_const(waiting))
        records += sweep.message.Records();
    while (waiting.size() > 1 && (waiting.size() > MostWaiting || records > MostRecordsWaiting)) {
        const Waiting dropped = waiting.takeFirst();
        records -= dropped.message.Records();
        Log(tr("The sweep %1 of %2 is lost: too many wait to be written")
                .arg(dropped.message.fileName, dropped.controller),
            Severity::Error);
    }
}

/// With the first file of a day.
void SweepStore::Prune(const QString& controller, QDate day)
{
    QDate& newest = newestDay[controller];
    if (day.isValid() && std::exchange(newest, day) != day)
        SweepFile::Prune(directory + u'/' + controller, keepDays);
}
