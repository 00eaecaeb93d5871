#include "defaultpaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

QString ProgramBaseName()
{
    return QFileInfo(QCoreApplication::applicationFilePath()).baseName();
}

QString getIniNameDefault(bool templateFile)
{
    if (!templateFile)
        return "/etc/ravelin/"_L1 + ProgramBaseName() + ".ini"_L1;
    const QString name = ProgramBaseName() + u'-' + QString::number(QCoreApplication::applicationPid()) + ".ini"_L1;
    return QDir::tempPath() + u'/' + name;
}
