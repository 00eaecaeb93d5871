#include "zigbee.h"

#include "clock.h"
#include "delay.h"
#include "nodecommands.h"

#include <QRegularExpression>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype MostNodesKept = 10'000; // where the table is bounded

QByteArray LengthField(const QByteArray& message)
{
    return QByteArray(1, static_cast<char>(message.size())).toHex();
}

// The text of an answer ends at its first zero byte.
QString AnswerText(const QByteArray& answer)
{
    return QString::fromLatin1(answer.constData(), qsizetype(qstrnlen(answer.constData(), size_t(answer.size()))));
}

} // namespace

ZigBee::ZigBee(QObject* parent, const QString& portName, bool option, FieldConduct conduct)
    : QObject(parent),
      field(conduct),
      Port(std::make_unique<SerialLine>(portName)),
      Option(option)
{
    Init();
    Timer = new QTimer(this);
    connect(Timer, &QTimer::timeout, this, &ZigBee::timer_event);
    Timer->start(500);
}

ZigBee::~ZigBee()
{
    if (ZDevices)
        ZDevices->DeleteAllDevices();
}

void ZigBee::Init()
{
    if (ZDevices)
        ZDevices->DeleteAllDevices();
    ZDevices.reset();

    WriteToPort("atz\r\n"_ba);
    Delay(5000);
    MainUIN = GetModemUIN();
    if (MainUIN.isEmpty())
        Port->TellNoAnswer();
    WriteToPort("atz\r\n"_ba);
    Delay(5000);
    Delay(100);
    ZDevices =
        std::make_unique<ZDevice>(MainUIN, u"Main Device"_s, field.Has(FieldConduct::Memory) ? MostNodesKept : 0);
    Delay(100);
    WriteToPort("at+jn\r\n"_ba);
    Delay(1000);
    WriteToPort("at+en\r\n"_ba);
    Delay(1000);
    ScanNetwork();
}

void ZigBee::Reset()
{
    Init();
}

QByteArray ZigBee::GetModemUIN()
{
    GetMessageFromModem();
    WriteToPort("ati\r\n"_ba);
    Delay(1000);
    const QString answer = AnswerText(Port->Read(80));
    // Without a version line the search gives -1. The two texts are then taken at the same distances from -1: modems
    // that answer without that line are read so.
    static const QRegularExpression versionLine(u"\r\nR...X\r\n"_s, QRegularExpression::DotMatchesEverythingOption);
    const qsizetype i = answer.indexOf(versionLine);
    ModemVersion = answer.mid(i + 3, 3).toInt();
    return answer.mid(i + 9, 16).toLatin1();
}

QByteArray ZigBee::GetMessageFromModem()
{
    QByteArray bytes = ReadPort();
    if (!bytes.isEmpty())
        emit Received(bytes);
    return bytes;
}

QByteArray ZigBee::ReadPort()
{
    QByteArray bytes = Port->Read();
    if (!bytes.isEmpty()) {
        unanswered = 0;
        silenceTold = false;
    }
    return bytes;
}

QString ZigBee::SearchZDeviceFromUIN(const QByteArray& uin) const
{
    const ZDevice* const device = ZDevices ? ZDevices->Find(uin) : nullptr;
    return device ? device->Type : u"none"_s;
}

void ZigBee::timer_event()
{
    const bool nested = std::exchange(polling, true);
    UpdateZNetwork();
    polling = nested;
    if (field.Has(FieldConduct::Modem) && !nested)
        RecoverWhenLost();
}

void ZigBee::UpdateZNetwork()
{
    if (!ZDevices)
        return; // in the middle of a start-up
    if (field.PacedByAnswers())
        UpdateMessageByMessage();
    else
        Parse(GetMessageFromModem());
}

void ZigBee::UpdateMessageByMessage()
{
    for (const QByteArray& message : stream.Take(ReadPort(), MonotonicMs())) {
        emit Received(message);
        // What stands at the start of a line is looked for behind the end of the line before.
        Parse(message.startsWith("\r\n") ? message : "\r\n" + message);
    }
}

void ZigBee::Parse(const QByteArray& chunk)
{
    // A receiver may run the event loop, and so another poll inside this one: the table is asked and filled event by
    // event.
    ParseModemChunk(
        chunk, [this](const QByteArray& uin) { return ZDevices->Heard(uin); },
        [this](const ModemEvent::Any& event) { std::visit([this](const auto& known) { Signal(known); }, event); });
}

void ZigBee::Signal(const ModemEvent::NodeFound& event)
{
    ZDevices->AddDevice(event.uin, event.type);
    emit NewNode(event.uin);
}

void ZigBee::Signal(ModemEvent::Accepted event)
{
    refused = 0;
    refusalsTold = false;
    emit AcceptUCAST(event.number);
}

void ZigBee::Signal(ModemEvent::Refused event)
{
    ++refused;
    emit Error(event.code);
}

void ZigBee::ScanNetwork()
{
    WriteToPort("at+sn\r\n"_ba);
}

void ZigBee::SendMessageToZDevice(const QByteArray& uin, const QByteArray& message)
{
    ++unanswered;
    WriteToPort("at+ucastb:" + LengthField(message) + ',' + uin + '\r' + message);
}

void ZigBee::SendBroadcastMessageToZDevice(const QByteArray& message)
{
    ++unanswered;
    WriteToPort("at+bcastb:" + LengthField(message) + ",00\r" + message);
}

QByteArray ZigBee::SendMainUIN()
{
    QByteArray frame = NodeCommands::CollectorAddress(MainUIN);
    SendBroadcastMessageToZDevice(frame);
    return frame;
}

void ZigBee::WriteToPort(const QByteArray& bytes)
{
    Port->Write(bytes);
}
