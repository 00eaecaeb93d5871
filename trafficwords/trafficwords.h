#pragma once

#include "linecutter.h"
#include "metermodel.h"
#include "nodepieces.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>

/// One line of the modem's, and what it means.
struct TrafficLine {
    QByteArray bytes; ///< as they came, without the line end
    QByteArray uin; ///< whose it is; empty where a line names no node. Printable ASCII
    QString kind; ///< the same in every language, see trafficwords.cpp
    QString words; ///< without a full stop; no control or format characters
};

/// Which meter is behind a node; null: not known.
using ModelOfNode = std::function<const MeterModel*(const QByteArray& uin)>;

/// Tells in words what comes from one modem. Takes any bytes: whoever is near the radio chooses them. What it holds is
/// bounded (LineCutter, NodePieces).
class TrafficWords final {
public:
    explicit TrafficWords(ModelOfNode modelOfNode);

    /// The lines that `chunk` completes. How the bytes are cut into chunks makes no difference. A line that ends
    /// several node frames is there once for each.
    [[nodiscard]] QList<TrafficLine> Take(QByteArrayView chunk);

private:
    void Tell(const QByteArray& line, QList<TrafficLine>& lines);
    void TellMessage(const QByteArray& line, bool isBroadcast, QList<TrafficLine>& lines);

    ModelOfNode modelOf;
    LineCutter cutter;
    NodePieces pieces;
};
