#pragma once

#include <QStringList>

/// The one of `known` that was most likely meant by `word`, small and capital letters being the same; empty when it is
/// like none.
[[nodiscard]] QString LikelyOf(const QStringList& known, const QString& word);
