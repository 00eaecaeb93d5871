#pragma once

#include "busstream.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QString>

#include <functional>

class QTimer;

/// One daemon, seen from its administrator and peer: commands go there, reports and summaries come from there. It
/// outlives the daemon's restarts. While the daemon waits, in a sweep or for a meter, it neither reads nor answers.
class DaemonLink final : public QObject {
    Q_OBJECT

public:
    enum class Outcome : quint8 {
        Sent, ///< a command that does not answer is on its way
        Answered,
        Away, ///< the daemon is not connected, or has gone before it answered
        Silent, ///< no answer came in time
    };
    struct Reply {
        Outcome outcome = Outcome::Away;
        QByteArray message; ///< with Answered
        QByteArray data; ///< with Answered
    };
    using WhenDone = std::function<void(const Reply&)>;

    /// `controller` is the daemon's own bus name.
    explicit DaemonLink(QString controller, QObject* parent = nullptr);

    [[nodiscard]] const QString& Controller() const { return controller; }

    /// A connection between the daemon and its administrator, or its peer, from now on owned here. One that stood
    /// before is closed.
    void TakeAdmin(BusStream* stream) { Take(admin, stream); }
    void TakePeer(BusStream* stream) { Take(peer, stream); }

    [[nodiscard]] bool HasAdmin() const { return admin != nullptr; }
    [[nodiscard]] bool HasPeer() const { return peer != nullptr; }
    /// Both links stand.
    [[nodiscard]] bool IsConnected() const { return HasAdmin() && HasPeer(); }
    /// When the admin link last came or went; when this object was made, if it has not yet.
    [[nodiscard]] QDateTime Since() const { return since; }
    /// When a frame last came, on either link; invalid before.
    [[nodiscard]] QDateTime LastHeard() const { return lastHeard; }

    /// Sends the command `name`; `data` is the Command frame's. `whenDone` is called once: from within this function
    /// with Sent or Away, or, when the command `answers`, at most `timeoutMs` later.
    void Send(const QByteArray& name, const QByteArray& data, bool answers, int timeoutMs, const WhenDone& whenDone);

    /// Whether the daemon is to show its traffic and what it does; also after it was started anew.
    void WantLiveView(bool wanted);

    /// Reads what has come in and was not yet seen: before the process ends.
    void ReadAll();

signals:
    /// The admin or the peer link has come or gone.
    void Changed();
    /// A chunk of the modem's bytes, or of the substation meter's.
    void Traffic(bool fromSubstationMeter, const QByteArray& bytes);
    /// What the daemon does, in its words.
    void Told(const QString& text);
    /// The payload of a Data frame.
    void Summary(const QByteArray& data);

private:
    struct Waiting {
        QByteArray name;
        WhenDone whenDone;
        QTimer* timer = nullptr;
    };

    void Take(BusStream*& link, BusStream* stream);
    void Lose(BusStream*& link);
    void Touch();
    void Receive(const BusFrame::Frame& frame);
    void ReceiveAction(const BusFrame::Action& action);
    void ShowLive(const BusFrame::Action& action);
    void Finish(qint32 id, const Reply& reply);
    void SwitchLiveView();

    const QString controller;
    BusStream* admin = nullptr;
    BusStream* peer = nullptr;
    QDateTime since;
    QDateTime lastHeard;
    QHash<qint32, Waiting> waiting;
    qint32 nextId = 1;
    bool liveViewWanted = false;
};
