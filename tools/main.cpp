// ravelinctl: the operator's tool.
#include "checkcommand.h"
#include "command.h"
#include "registercommands.h"
#include "schedulecommand.h"
#include "version.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(getTesselVersion());
    const QList<Command> commands{
        {u"check"_s, u"Tells what would keep the daemon from working, before it is started."_s, RunCheck},
        {u"schedule"_s, u"Tells when sweeps are due and how long they take."_s, RunSchedule},
        {u"register"_s, u"The database's schema and the register of meters in it."_s, RunRegister},
    };
    return RunOneOf(commands, u"Looks after what the daemon works with."_s,
        QStringList{u"ravelinctl"_s} + QCoreApplication::arguments().mid(1));
}
