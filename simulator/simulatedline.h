#pragma once

#include "appendfile.h"
#include "linepeer.h"
#include "pseudoterminal.h"
#include "recording.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <optional>

class QSocketNotifier;

/// A line peer at work: on a pseudo-terminal, in real time, driven by the event loop.
class SimulatedLine final : public QObject {
    Q_OBJECT

public:
    /// `linePeer` must outlive this object. With a non-empty `trafficFile` every write is appended to it, see
    /// RecordedWrite.
    SimulatedLine(LinePeer& linePeer, const QString& trafficFile, QObject* parent = nullptr);

    /// As PseudoTerminal::Open().
    [[nodiscard]] bool Open(const QString& path, QString& error);

    /// Bytes to the daemon that found the line full.
    [[nodiscard]] qint64 BytesLost() const { return bytesLost; }

private:
    [[nodiscard]] Moment Now() const;
    void TakeInput();
    void WriteWhatIsDue();
    void LogTraffic(RecordedWrite::Speaker speaker, const QByteArray& bytes);

    LinePeer& peer;
    PseudoTerminal terminal;
    QElapsedTimer clock;
    QTimer due;
    std::optional<AppendFile> traffic;
    qint64 bytesLost = 0;
};
