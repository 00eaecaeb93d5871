#include "connector.h"
#include "delay.h"
#include "ending.h"
#include "nodecommands.h"
#include "ravelin.h"
#include "service.h"
#include "version.h"

#include <QDataStream>
#include <QThread>

using namespace Qt::StringLiterals;

namespace {

const auto ModuleVersion = u"5.4.54:0df2e73b28c0"_s;

const auto AboutTemplate = u"----\nИнформация о сборке.\nВерсия модуля: %1\nВерсия Tessel: %6\n\n"
                           "----\nИнформация о работе модуля.\nБаза данных: %3\n"_s;

} // namespace

struct Ravelin::Request {
    QByteArray name;
    QByteArray data;
    int idConnection = -1;

    /// The command's argument; empty when there is none.
    [[nodiscard]] QByteArray Argument() const
    {
        QDataStream in(data);
        in.setVersion(QDataStream::Qt_4_5);
        QByteArray argument;
        in >> argument;
        return argument;
    }
};

struct Ravelin::KnownCommand {
    QByteArrayView name;
    void (Ravelin::*carryOut)(const Request& request);
    bool anywhere = false; ///< fits a command that contains the name
};

const Ravelin::KnownCommand Ravelin::Commands[] = {
    {"Input_Data_On", &Ravelin::SwitchLiveViewOn},
    {"Input_Data_Off", &Ravelin::SwitchLiveViewOff},
    {"About", &Ravelin::About},
    {"Query_counter", &Ravelin::QueryCounter},
    {"Need_query", &Ravelin::RequestQuery},
    // An administrator may put a mark of its own around this name; the reply carries the whole.
    {"Get_ZDevices", &Ravelin::ListNodes, true},
    {"Reset_KS", &Ravelin::ResetNode},
    {"Write_direct_in_port", &Ravelin::WriteDirectly},
    {"Send_counters_numbers", &Ravelin::SendCountersNumbers},
    {"Send_counter_number", &Ravelin::SendCounterNumber},
    {"Send_04_command", &Ravelin::SendCommand04},
    {"Send_main_UIN", &Ravelin::SendMainUIN},
    {"Send_KI_number", &Ravelin::SendKINumber},
    {"QuitSignal", &Ravelin::Quit},
};

void Ravelin::AdminCommand(QByteArray& command_name, QByteArray& data, int IDConnection, TMyLocalSocket*)
{
    const Liveness::Aside aside(Service::Work());
    for (const KnownCommand& command : Commands) {
        if (command_name == command.name || (command.anywhere && command_name.contains(command.name))) {
            (this->*command.carryOut)({command_name, data, IDConnection});
            return;
        }
    }
}

void Ravelin::SwitchLiveViewOn(const Request&)
{
    InData = true;
}

void Ravelin::SwitchLiveViewOff(const Request&)
{
    InData = false;
}

void Ravelin::About(const Request& request)
{
    const QString text = AboutTemplate.arg(ModuleVersion).arg(Settings.BaseName).arg(getTesselVersion());
    SetAction("About"_ba, text.toUtf8(), ""_ba, request.idConnection);
}

void Ravelin::QueryCounter(const Request& request)
{
    const QByteArray uin = request.Argument();
    Modem->SendMessageToZDevice(uin, NodeCommands::Measure.toByteArray());
    Delay(20000);
    Modem->SendMessageToZDevice(uin, NodeCommands::ReadOut.toByteArray());
}

void Ravelin::RequestQuery(const Request&)
{
    emit NeedQuery();
}

void Ravelin::ListNodes(const Request& request)
{
    QList<QByteArray> uins;
    for (const ZDevice* node = Modem->Nodes(); node; node = node->Next)
        uins.append(node->UIN);

    QByteArray data;
    QDataStream out(&data, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_5);
    out << static_cast<qint32>(uins.size());
    for (const QByteArray& uin : uins)
        out << uin;
    SetAction(request.name, request.name, data, request.idConnection);
}

void Ravelin::ResetNode(const Request& request)
{
    ResetKS(request.Argument());
}

/// A pulse on register 18 of the node, with register 16 prepared for it and put back. The answers come with later
/// polls. Not waited for with Delay(), which leaves when an end is asked for: nobody would put the registers back.
void Ravelin::ResetKS(const QByteArray& uin)
{
    constexpr unsigned long BetweenWritesMs = 1000;
    const QByteArray node = "ATREMS:" + uin;
    for (const char* const write : {",16=01f8\r\n", ",18=00f0\r\n", ",18=01f0\r\n"}) {
        Modem->WriteToPort(node + write);
        QThread::msleep(BetweenWritesMs);
    }
    Modem->WriteToPort(node + ",16=00f8\r\n");
}

void Ravelin::WriteDirectly(const Request& request)
{
    Modem->WriteToPort(request.Argument());
}

void Ravelin::SendCountersNumbers(const Request&)
{
    Collector->SendCountersNumbers();
}

void Ravelin::SendCounterNumber(const Request& request)
{
    Collector->SendCounterNumber(request.Argument());
}

void Ravelin::SendCommand04(const Request&)
{
    Collector->SendCommand_04();
}

void Ravelin::SendKINumber(const Request& request)
{
    Collector->SendCINumber(request.Argument());
}

void Ravelin::SendMainUIN(const Request&)
{
    if (Modem)
        Modem->SendMainUIN();
}

void Ravelin::Quit(const Request&)
{
    EndOnQuitSignal();
}

void Ravelin::EndOnQuitSignal()
{
    Ending::Request(0, tr("QuitSignal received. Stopping application."));
}

void Ravelin::Test()
{
    emit SendMessage("000D6F00001733EB"_ba, NodeCommands::ReadOut.toByteArray());
}
