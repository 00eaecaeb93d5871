// The daemon and the operator's tools read the settings through this one function.
#include "sysvar.h"

#include "settingsfile.h"

using namespace Qt::StringLiterals;

namespace {

// The fields of the record are that narrow: of a larger number only the low bits count.
void ReadMain(SysVar& vars, SettingsFile& settings)
{
    vars.PortKS = settings.Text(u"Main/PortKS"_s, u"/dev/ttyUSB0"_s);
    vars.PortCounterKTP = settings.Text(u"Main/PortCounterKTP"_s, u"/dev/ttyS2"_s);
    vars.PortAlarmButton = settings.Text(u"Main/PortAlarmButton"_s, u"/dev/ttyS3"_s);
    vars.CounterKTPMultiplier = settings.Real(u"Main/CounterKTPMultiplier"_s, 1.0);
    vars.BCAST_to_UCAST_Delay = static_cast<quint16>(settings.Integer(u"Main/BCAST_to_UCAST_Delay"_s, 15000));
    vars.UCAST_to_UCAST_Delay = static_cast<quint16>(settings.Integer(u"Main/UCAST_to_UCAST_Delay"_s, 10000));
    vars.RepeateQueryKTPNumber = static_cast<quint8>(settings.Integer(u"Main/RepeateQueryKTPNumber"_s, 15));
    vars.RepeatQueryNumber = static_cast<quint8>(settings.Integer(u"Main/RepeatQueryNumber"_s, 5));
    vars.TimeOfQuery = settings.Text(u"Main/TimeOfQuery"_s, u":[30]0$"_s);
    vars.TimeOfSetTime = settings.Text(u"Main/TimeOfSetTime"_s, u"00:00$"_s);
    vars.TimeOfGetTime = settings.Text(u"Main/TimeOfGetTime"_s, u"00:15$"_s);
    vars.field = FieldConduct::Read(settings);
    vars.NtpServer = settings.Text(u"Main/NtpServer"_s, {});
}

void ReadDatabase(SysVar& vars, SettingsFile& settings)
{
    vars.BaseName = settings.Text(u"Base/BaseName"_s, u"db/z.db"_s);
    vars.SqlHostName = settings.Text(u"Base/SqlHostName"_s, u"192.168.0.0"_s);
    vars.SqlLogin = settings.Text(u"Base/SqlLogin"_s, u"postgres"_s);
    vars.SqlPassword = settings.Text(u"Base/SqlPassword"_s, {});
    vars.SqlPort = settings.Integer(u"Base/SqlPort"_s, -1);
    vars.BDType = settings.Text(u"Base/BDType"_s, u"sqlite3"_s);
}

} // namespace

SysVar ReadSysVar(SettingsFile& settings)
{
    SysVar vars;
    ReadMain(vars, settings);
    const QString baseIni = settings.Text(u"Base/BaseIni"_s, {});
    if (baseIni.isEmpty()) {
        ReadDatabase(vars, settings);
    } else {
        SettingsFile baseSettings(baseIni);
        ReadDatabase(vars, baseSettings);
        settings.TakeProblems(baseSettings);
    }
    return vars;
}
