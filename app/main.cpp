#include "ending.h"
#include "heap.h"
#include "log.h"
#include "ravelin.h"

#include <QCoreApplication>
#include <QTranslator>

using namespace Qt::StringLiterals;

namespace {

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
}

} // namespace

int main(int argc, char* argv[])
{
    KeepFreedHeap();
    const QCoreApplication application(argc, argv);
    Ending::InstallSignalHandlers();

    QTranslator translator;
    static_cast<void>(translator.load(u"Ravelin.qm"_s, u""_s, u""_s, u""_s)); // texts stay English without it
    QCoreApplication::installTranslator(&translator);

    static auto* const controller = new Ravelin; // lives as long as the process: never deleted
    LoadAllSettings(*controller, QCoreApplication::arguments());
    controller->Start();
    Log(QCoreApplication::translate("main", "Start Ok!"));

    const std::optional<int> early = Ending::Requested();
    const int code = early ? *early : QCoreApplication::exec();
    Ending::Close();
    return code;
}
