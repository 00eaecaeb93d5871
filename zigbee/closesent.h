#pragma once

#include <QSerialPort>

/// Closes `port` when the system has sent what it has taken, after half a second at the latest. Closing puts the line's
/// settings back at once: the end of a command that is still on its way would go out at another speed.
void CloseSent(QSerialPort& port);
