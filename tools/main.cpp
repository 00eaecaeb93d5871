// ravelinctl: the operator's tool.
#include "backupcommand.h"
#include "billcommand.h"
#include "checkcommand.h"
#include "command.h"
#include "fleetcommands.h"
#include "incidentscommand.h"
#include "readingscommand.h"
#include "registercommands.h"
#include "remotecommand.h"
#include "reportcommand.h"
#include "retaincommand.h"
#include "schedulecommand.h"
#include "setupcommand.h"
#include "statuscommand.h"
#include "supportcommand.h"
#include "texts.h"
#include "version.h"
#include "watchcommand.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

using namespace Qt::StringLiterals;

namespace {

// As LC_ALL, LC_MESSAGES or LANG say. The catalogue is in the program, so that it is always there and always fits.
void SpeakTheUsersLanguage(QTranslator& translator)
{
    if (translator.load(u":/translations/Ravelin_%1.qm"_s.arg(QLocale::languageToCode(QLocale::system().language()))))
        QCoreApplication::installTranslator(&translator);
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(getTesselVersion());
    QTranslator translator;
    SpeakTheUsersLanguage(translator);
    const QList<Subcommand> commands{
        {u"setup"_s, Texts::tr("Makes an installation ready, from the settings to the register."), RunSetup},
        {u"check"_s, Texts::tr("Tells what would keep the daemon from working, before it is started."), RunCheck},
        {u"schedule"_s, Texts::tr("Tells when sweeps are due and how long they take."), RunSchedule},
        {u"retain"_s, Texts::tr("Deletes readings that are older than a number of months."), RunRetain},
        {u"backup"_s, Texts::tr("Copies the database while the daemon runs."), RunBackup},
        {u"support"_s, Texts::tr("Gathers what a technician needs to see, without passwords."), RunSupport},
        {u"register"_s, Texts::tr("The database's schema and the register of meters in it."), RunRegister},
        {u"report"_s, Texts::tr("Which readings of a day or month are there, missing, or strange; clocks."), RunReport},
        {u"incidents"_s, Texts::tr("Why readings are missing: one finding for one cause."), RunIncidents},
        {u"readings"_s, Texts::tr("Writes the rows of the readings: a table, csv or json."), RunReadings},
        {u"bill"_s, Texts::tr("What each meter used in a month; each meter without it, and why."), RunBill},
        {u"status"_s, Texts::tr("How the daemon fares; the exit code tells it to a script."), RunStatus},
        {u"watch"_s, Texts::tr("What the modem, the meters and the daemon do, as it happens."), RunWatch},
        {u"command"_s, Texts::tr("Has the daemon do something."), RunRemoteCommand},
        {u"fleet"_s, Texts::tr("The centre of many controllers: its schema, their roles, its months."), RunFleet},
    };
    return RunOneOf(commands, Texts::tr("Looks after what the daemon works with."),
        QStringList{u"ravelinctl"_s} + QCoreApplication::arguments().mid(1));
}
