#pragma once

#include "linepeer.h"

#include <QList>

/// What a node sends to its collector, `delay` after it was asked. One answer may be as long as it likes: the radio
/// carries it in pieces.
struct NodeAnswer {
    Moment delay;
    QByteArray payload;
};

/// A radio node of the simulated network, and whatever is wired to it.
class RadioNode {
public:
    RadioNode() = default;
    virtual ~RadioNode() = default;
    RadioNode(const RadioNode&) = delete;
    RadioNode& operator=(const RadioNode&) = delete;

    /// A unicast or broadcast has reached the node.
    [[nodiscard]] virtual QList<NodeAnswer> Receive(const QByteArray& payload, Moment now) = 0;
};
