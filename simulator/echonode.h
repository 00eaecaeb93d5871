#pragma once

#include "radionode.h"

/// A node without a meter: sends back what it gets.
class EchoNode final : public RadioNode {
public:
    [[nodiscard]] QList<NodeAnswer> Receive(const QByteArray& payload, Moment) override
    {
        return {{std::chrono::milliseconds(200), payload}};
    }
};
