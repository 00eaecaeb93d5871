#include "ravelin.h"

#include "settingsfile.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

bool Ravelin::LoadSettings(const QString& fileName)
{
    TServerPlugin::LoadSettings(fileName);

    SettingsFile settings(fileName.isEmpty() ? QCoreApplication::applicationFilePath() + ".ini"_L1 : fileName);
    Settings = ReadSysVar(settings);
    if (fileName.isEmpty()) // a file of its own; the bus settings' has been reported
        settings.ReportFileProblem();
    settings.ReportValueProblems();
    return true;
}
