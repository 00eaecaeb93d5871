#pragma once

#include <QByteArray>

/// Waits until the names of all hosts in a libpq connection string can be found, at most 30 s, and looks for the end of
/// the process meanwhile. libpq finds a name by a call that blocks, for a minute where no name server answers: asked
/// right after this, the system knows the answer. Empty, or why a name is not found.
[[nodiscard]] QString LookUpHosts(const QByteArray& connectionString);
