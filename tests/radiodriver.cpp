// The radio link alone as a program, for end-to-end tests: radiodriver PORT LOG. Prints each signal as a line and does
// what it is told on its input, one command a line: reset | scan | nodes | unicast UIN HEX | broadcast HEX | raw HEX |
// announce | block MS | quit.
#include "delay.h"
#include "ending.h"
#include "log.h"
#include "zigbee.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <array>
#include <cstdio>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

void Say(const QByteArray& line)
{
    std::puts(line.constData());
    std::fflush(stdout);
}

void PrintNodes(const ZigBee& modem)
{
    Say("modem " + modem.MainUIN + " version " + QByteArray::number(modem.ModemVersion));
    for (const ZDevice* node = modem.Nodes(); node; node = node->Next)
        Say("node " + node->UIN + ' ' + node->Type.toUtf8());
    Say("end of nodes");
}

void Obey(ZigBee& modem, const QList<QByteArray>& words)
{
    const QByteArray& command = words.first();
    if (command == "reset")
        modem.Reset();
    else if (command == "scan")
        modem.ScanNetwork();
    else if (command == "nodes")
        PrintNodes(modem);
    else if (command == "unicast")
        modem.SendMessageToZDevice(words.at(1), QByteArray::fromHex(words.at(2)));
    else if (command == "broadcast")
        modem.SendBroadcastMessageToZDevice(QByteArray::fromHex(words.at(1)));
    else if (command == "raw")
        modem.WriteToPort(QByteArray::fromHex(words.at(1)));
    else if (command == "announce")
        modem.SendMainUIN();
    else if (command == "block")
        Delay(words.at(1).toUInt());
    else if (command == "quit")
        QCoreApplication::exit(0);
    else
        Say("unknown command " + command);
}

void PrintSignals(const ZigBee& modem)
{
    const QObject* const receiver = &modem;
    QObject::connect(&modem, &ZigBee::ReceivedUCAST, receiver,
        [](const QByteArray& uin, const QByteArray& message) { Say("unicast " + uin + ' ' + message.toHex()); });
    QObject::connect(&modem, &ZigBee::ReceivedBCAST, receiver,
        [](const QByteArray& uin, const QByteArray& message) { Say("broadcast " + uin + ' ' + message.toHex()); });
    QObject::connect(&modem, &ZigBee::NewNode, receiver, [](const QByteArray& uin) { Say("new " + uin); });
    QObject::connect(&modem, &ZigBee::Received, receiver,
        [](const QByteArray& data) { Say("received " + QByteArray::number(data.size())); });
    QObject::connect(&modem, &ZigBee::ReceivedACK, receiver, [](quint8 i) { Say("ack " + QByteArray::number(i)); });
    QObject::connect(&modem, &ZigBee::ReceivedNACK, receiver, [](quint8 i) { Say("nack " + QByteArray::number(i)); });
    QObject::connect(&modem, &ZigBee::AcceptUCAST, receiver, [](quint8 i) { Say("accept " + QByteArray::number(i)); });
    QObject::connect(&modem, &ZigBee::Error, receiver, [](quint16 i) { Say("error " + QByteArray::number(i)); });
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fputs("usage: radiodriver PORT LOG\n", stderr);
        return 2;
    }
    TLog log(arguments.at(2));
    pLog = &log;
    Ending::InstallSignalHandlers();

    ZigBee modem(nullptr, arguments.at(1), true);
    PrintSignals(modem);
    Say("started");

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray commands;
    QObject::connect(&input, &QSocketNotifier::activated, &modem, [&] {
        std::array<char, 4096> buffer{};
        const ssize_t size = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (size <= 0)
            input.setEnabled(false);
        else
            commands.append(buffer.data(), size);
        for (qsizetype end = 0; (end = commands.indexOf('\n')) >= 0; commands.remove(0, end + 1))
            Obey(modem, commands.left(end).split(' '));
    });
    return QCoreApplication::exec();
}
