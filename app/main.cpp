#include "connector.h"
#include "defaultpaths.h"
#include "ending.h"
#include "heap.h"
#include "journal.h"
#include "log.h"
#include "necessity.h"
#include "ravelin.h"
#include "service.h"
#include "version.h"

#include <QCoreApplication>
#include <QTranslator>

#include <cstdio>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const auto HelpTemplate =
    u"Usage: ravelin [-settings FILE]...\n"
    "       ravelin --help | --version\n"
    "\n"
    "Collects electricity-meter readings over a ZigBee modem. It stays in the foreground until it is told to end.\n"
    "\n"
    "  -settings FILE  An ini file. Of several the last one counts alone, but the peers (Connections) of all add up.\n"
    "  --help          Prints this and ends; as the first word only.\n"
    "  --version       Prints the version and ends; as the first word only.\n"
    "\n"
    "When no file is given, the bus names and the log (AdminServerName, ServerName, Connections, BusUsers,\n"
    "LogName, Log) come from %1, everything else from\n"
    "%2.\n"
    "A file that is missing changes nothing: the defaults apply. \"ravelinctl check\" tells what would not work.\n"_s;

// What a person asks for who does not know the program yet; empty when nothing is asked. Only the first argument
// counts: behind "-settings" the same words are the name of a file.
QString Information(const QStringList& arguments)
{
    const QString first = arguments.value(1);
    if (first == "--help"_L1)
        return HelpTemplate.arg(getIniNameDefault(false), QCoreApplication::applicationFilePath() + ".ini"_L1);
    return first == "--version"_L1 ? "ravelin "_L1 + getTesselVersion() + u'\n' : QString();
}

// Every "-settings FILE" in turn, a later one over an earlier one. A trailing "-settings" without a file loads the
// defaults, and so does the lack of a file: twice then, which is harmless.
void LoadAllSettings(Ravelin& controller, const QStringList& arguments)
{
    bool fileSeen = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments[i] != "-settings"_L1)
            continue;
        if (i + 1 < arguments.size()) {
            controller.LoadSettings(arguments[++i]);
            fileSeen = true;
        } else {
            controller.LoadSettings({});
        }
    }
    if (!fileSeen)
        controller.LoadSettings({});
    if (controller.Connector->GetServerName().isEmpty())
        Necessity().Fails(QCoreApplication::translate(
            "main", "The setting ServerName is missing: there is no bus, and no administrative server is connected"));
}

} // namespace

int main(int argc, char* argv[])
{
    ::umask(0007); // what it makes is for its user and group alone
    KeepFreedHeap();
    Journal::Attach();
    const QCoreApplication application(argc, argv);
    if (const QString text = Information(QCoreApplication::arguments()); !text.isEmpty()) {
        std::fputs(text.toUtf8().constData(), stdout);
        return 0;
    }
    Ending::InstallSignalHandlers();
    Service::Install();

    QTranslator translator;
    static_cast<void>(translator.load(u"Ravelin.qm"_s, u""_s, u""_s, u""_s)); // texts stay English without it
    QCoreApplication::installTranslator(&translator);

    static auto* const controller = new Ravelin; // lives as long as the process: never deleted
    LoadAllSettings(*controller, QCoreApplication::arguments());
    controller->Start();
    Log(QCoreApplication::translate("main", "Start Ok!"));
    Service::Ready();

    const std::optional<int> early = Ending::Requested();
    const int code = early ? *early : QCoreApplication::exec();
    Ending::Close();
    return code;
}
