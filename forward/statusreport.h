#pragma once

#include "deliveryprogress.h"
#include "forwardsettings.h"

#include <QJsonObject>
#include <QStringList>

/// What --status tells.
class StatusReport final {
public:
    explicit StatusReport(const ForwardSettings& settings);

    [[nodiscard]] QStringList Lines() const;
    [[nodiscard]] QJsonObject Json() const;

    [[nodiscard]] bool IsWell() const { return progress.IsWell(); }

private:
    const ForwardSettings& settings;
    DeliveryProgress progress;
};
