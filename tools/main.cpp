// ravelinctl: the operator's tool.
#include "command.h"
#include "registercommands.h"
#include "version.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(getTesselVersion());
    const QList<Command> commands{
        {u"register"_s, u"The database's schema and the register of meters in it."_s, RunRegister},
    };
    return RunOneOf(commands, u"Looks after what the daemon works with."_s,
        QStringList{u"ravelinctl"_s} + QCoreApplication::arguments().mid(1));
}
