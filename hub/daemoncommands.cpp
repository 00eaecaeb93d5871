#include "daemoncommands.h"

#include <QDataStream>
#include <QIODevice>
#include <QJsonArray>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cctype>

using namespace Qt::StringLiterals;
using namespace DaemonCommands;

namespace {

constexpr QLatin1StringView NodeList{"Get_ZDevices"};

constexpr std::array<DaemonCommand, 14> Table{{
    {.name = "Input_Data_On"_L1, .about = "Switches the live view on."_L1},
    {.name = "Input_Data_Off"_L1, .about = "Switches the live view off, until somebody watches anew."_L1},
    {.name = "About"_L1, .about = "Tells the daemon's versions and its database."_L1, .answers = true},
    {.name = "Query_counter"_L1,
        .argument = Argument::Uin,
        .about = "Has one node measure and, 20 s later, send what it has. The daemon stands still meanwhile."_L1},
    {.name = "Need_query"_L1, .about = "Asks for a query sweep at the next tick, at most half a minute away."_L1},
    {.name = NodeList, .about = "Lists the radio addresses that the modem knows, its own first."_L1, .answers = true},
    {.name = "Reset_KS"_L1,
        .argument = Argument::Uin,
        .about = "Resets one node by four writes to its registers, which takes 3 s."_L1},
    {.name = "Write_direct_in_port"_L1,
        .argument = Argument::Bytes,
        .about = "Writes these bytes to the radio modem as they are."_L1},
    {.name = "Send_counters_numbers"_L1,
        .about = "Sends each node its meter's number; without the remedy \"numbers\" it only waits 5 s for each."_L1},
    {.name = "Send_counter_number"_L1, .argument = Argument::Uin, .about = "Sends one node its meter's number."_L1},
    {.name = "Send_04_command"_L1, .about = "Does nothing; kept for older administrators."_L1},
    {.name = "Send_main_UIN"_L1, .about = "Tells all nodes the modem's radio address."_L1},
    {.name = "Send_KI_number"_L1, .argument = Argument::Uin, .about = "Sends one node its meter's KI number."_L1},
    {.name = "QuitSignal"_L1, .about = "Ends the daemon; its service starts it anew."_L1, .stops = true},
}};

/// As a byte array of the bus.
QByteArray Packed(const QByteArray& bytes)
{
    QByteArray packed(4, Qt::Uninitialized);
    qToBigEndian(static_cast<qint32>(bytes.size()), packed.data());
    return packed + bytes;
}

bool IsHex(QStringView text)
{
    return std::ranges::all_of(text, [](QChar c) { return c.unicode() < 128 && std::isxdigit(c.unicode()) != 0; });
}

std::optional<QByteArray> Uin(const QString& written, QString& reason)
{
    constexpr qsizetype Digits = 16;
    if (written.size() == Digits && IsHex(written))
        return Packed(written.toLatin1());
    reason = u"The argument is a node's UIN, 16 hexadecimal digits."_s;
    return std::nullopt;
}

std::optional<QByteArray> Bytes(const QString& written, QString& reason)
{
    constexpr qsizetype MostBytes = 4096; // the modem takes far less in one command
    QByteArray digits;
    for (const QString& group : written.split(u' ', Qt::SkipEmptyParts)) {
        if (group.size() % 2 != 0 || !IsHex(group)) {
            reason = u"The argument is bytes in hexadecimal digits, two a byte, as in \"61 74 69 0d\"."_s;
            return std::nullopt;
        }
        digits += group.toLatin1();
    }
    if (digits.isEmpty() || digits.size() > 2 * MostBytes) {
        reason = u"The argument is 1 to %1 bytes in hexadecimal digits."_s.arg(MostBytes);
        return std::nullopt;
    }
    return Packed(QByteArray::fromHex(digits));
}

} // namespace

std::span<const DaemonCommand> DaemonCommands::All()
{
    return Table;
}

const DaemonCommand* DaemonCommands::Find(QStringView name)
{
    const auto* const found =
        std::ranges::find_if(Table, [name](const DaemonCommand& command) { return command.name == name; });
    return found == Table.end() ? nullptr : found;
}

QLatin1StringView DaemonCommands::ArgumentName(Argument argument)
{
    switch (argument) {
    case Argument::None:
        return "none"_L1;
    case Argument::Uin:
        return "uin"_L1;
    case Argument::Bytes:
        return "bytes"_L1;
    }
    Q_UNREACHABLE();
}

std::optional<QByteArray> DaemonCommands::EncodeArgument(
    const DaemonCommand& command, const QString& written, QString& reason)
{
    switch (command.argument) {
    case Argument::None:
        if (written.isEmpty())
            return QByteArray();
        reason = u"%1 takes no argument."_s.arg(command.name);
        return std::nullopt;
    case Argument::Uin:
        return Uin(written, reason);
    case Argument::Bytes:
        return Bytes(written, reason);
    }
    Q_UNREACHABLE();
}

QJsonValue DaemonCommands::Reply(const DaemonCommand& command, const QByteArray& message, const QByteArray& data)
{
    if (command.name != NodeList)
        return QString::fromUtf8(message);
    QDataStream in(data);
    in.setVersion(QDataStream::Qt_4_5);
    qint32 count = 0;
    in >> count;
    QJsonArray uins;
    for (qint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        QByteArray uin;
        in >> uin;
        if (in.status() == QDataStream::Ok)
            uins.append(QString::fromLatin1(uin));
    }
    return uins;
}
