#pragma once

#include <QByteArray>

/// Whether an "Authorization" header is "Bearer" with this token. Takes the same time wherever the two differ. An empty
/// token fits nothing.
[[nodiscard]] bool BearerFits(const QByteArray& authorization, const QByteArray& token);
