#pragma once

#include "finding.h"

#include <QStringList>

/// What the settings' format makes of the text of `fileName` otherwise than the one who wrote it will have thought.
/// Values count in `groups` alone: others are other programs' business. No values are shown: one may be a password.
[[nodiscard]] Findings FormatFindings(const QString& fileName, const QString& text, const QStringList& groups);
