#pragma once

#include "linepeer.h"

#include <QList>

#include <functional>

/// What a node sends to its collector, `delay` after it was asked. One answer may be as long as it likes: the radio
/// carries it in pieces. `passedOn` is told when the last of it goes to the daemon, and whether all of it does, in
/// lines that are not cut.
struct NodeAnswer {
    Moment delay;
    QByteArray payload;
    std::function<void(Moment now, bool whole)> passedOn = {};
};

/// A radio node of the simulated network, and whatever is wired to it.
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
