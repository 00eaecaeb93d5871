#pragma once

#include <QByteArray>
#include <QTime>

/// What the time daemon's peer listing ("ntpq -pn") says about this computer's clock.
namespace NtpLine {

/// The ninth column of a peer's line, the offset in ms. 0 for a line with fewer columns and for text that is no number,
/// as in the heading.
[[nodiscard]] float Offset(const QByteArray& line);

/// `time` put forward by an offset of 1000 ms or more, past midnight if need be. A smaller or negative offset changes
/// nothing: given so; not to be repaired.
[[nodiscard]] QTime Corrected(QTime time, float offsetMs);

} // namespace NtpLine
