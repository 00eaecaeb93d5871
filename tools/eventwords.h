#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

/// What the hub tells of an event of `kind`, as lines for people; none when it tells nothing by itself, as half a line
/// of the modem's. Harmless for a terminal.
[[nodiscard]] QStringList EventWords(const QString& kind, const QJsonObject& data, bool withController);
