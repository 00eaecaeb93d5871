// A peer's bytes through a socket, in pieces: where they are cut changes nothing of what is received, and a command
// that waits is seen beforehand. The first four bytes of the input are the pieces' sizes, in turn.

#include "connector.h"
#include "fuzztarget.h"

#include <QCoreApplication>

#include <algorithm>
#include <array>

#include <sys/socket.h>
#include <unistd.h>

namespace {

/// All signals of a connector, one line each.
class Receiver {
public:
    Receiver()
    {
        QObject::connect(&connector, &TConnector::NewCommand, [this](auto& name, auto& data, int id, auto* socket) {
            if (name == "QuitSignal")
                quitSeen = true;
            Note("command", {name, data, QByteArray::number(id), socket->Name});
        });
        QObject::connect(
            &connector, &TConnector::NewAction, [this](auto& name, auto& message, auto& data, int id, auto* socket) {
                Note("action", {name, message, data, QByteArray::number(id), socket->Name});
            });
        QObject::connect(&connector, &TConnector::NewBusMessage, [this](auto iface, auto data, int id) {
            Note("message", {iface, data, QByteArray::number(id)});
        });
        QObject::connect(&connector, &TConnector::NewData, [this](uchar version, auto& data, auto* socket) {
            Require(!data.isEmpty());
            Note("data", {QByteArray::number(version), data, socket->Name});
        });
    }

    QByteArrayList Receive(QByteArray stream, const QByteArray& sizes)
    {
        signalled.clear();
        quitSeen = false;
        std::array<int, 2> ends{};
        Require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()) == 0);
        auto* const socket = new TMyLocalSocket;
        Require(socket->setSocketDescriptor(ends[1]));
        connector.newInConnection(socket);
        for (qsizetype turn = 0; !stream.isEmpty() && socket->isValid(); ++turn) {
            const auto wanted = std::max<qsizetype>(1, static_cast<quint8>(sizes.at(turn % sizes.size())));
            const QByteArray piece = stream.first(std::min(wanted, stream.size()));
            Require(::write(ends[0], piece.constData(), static_cast<size_t>(piece.size())) == piece.size());
            socket->waitForReadyRead(0);
            stream.remove(0, piece.size());
        }
        Note(socket->isValid() ? "goes on" : "aborted", {});
        socket->abort();
        QCoreApplication::sendPostedEvents(socket, QEvent::DeferredDelete);
        ::close(ends[0]);
        return signalled;
    }

    [[nodiscard]] bool QuitSeen() const { return quitSeen; }

private:
    void Note(const QByteArray& signal, const QByteArrayList& arguments)
    {
        signalled += signal + ' ' + arguments.join('|');
    }

    TConnector connector;
    QByteArrayList signalled;
    bool quitSeen = false;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static const QCoreApplication application(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    constexpr qsizetype Sizes = 4;
    const QByteArray input = InPlace(bytes, size);
    if (input.size() <= Sizes)
        return 0;
    static Receiver receiver;
    const QByteArray stream = input.sliced(Sizes);
    const QByteArrayList inPieces = receiver.Receive(stream, input.first(Sizes));
    Require(BusFrame::HoldsCommand(stream, 0, "QuitSignal") == receiver.QuitSeen());
    Require(receiver.Receive(stream, QByteArray(1, '\xFF')) == inPieces);
    return 0;
}
