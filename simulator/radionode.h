#pragma once

#include "linepeer.h"
#include "passage.h"

#include <QList>

#include <functional>

/// What a node sends to its collector, `delay` after it was asked. An answer may have any length: the radio carries it
/// in pieces. `passedOn` is called when the last piece goes to the daemon, or would have, with what became of the
/// answer.
struct NodeAnswer {
    Moment delay;
    QByteArray payload;
    std::function<void(Moment now, Passage passage)> passedOn = {};
};

/// A radio node of the simulated network, with the meter that is wired to it, if there is one.
class RadioNode {
public:
    RadioNode() = default;
    virtual ~RadioNode() = default;
    RadioNode(const RadioNode&) = delete;
    RadioNode& operator=(const RadioNode&) = delete;

    /// Asked before each unicast. False: the modem reports that it could not deliver it.
    [[nodiscard]] virtual bool Reachable() { return true; }

    /// A unicast or broadcast has reached the node.
    [[nodiscard]] virtual QList<NodeAnswer> Receive(const QByteArray& payload, Moment now) = 0;
};
