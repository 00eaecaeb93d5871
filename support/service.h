#pragma once

#include "liveness.h"

#include <QString>

/// What the service manager that started this process is told: that it is up, what it does, that it still works, that
/// it ends. Without such a manager nothing is told, and no call does anything.
namespace Service {

/// Finds out whether somebody is to be told. From then on, when the manager watches over this process, it is told of
/// the work from the event loop and from inside every wait, as long as Work() works. Needs the application object.
void Install();

/// The daemon is up. At its end the manager is told of that, too.
void Ready();

/// One line for the operator: what is being done.
void Status(const QString& text);

/// As Liveness::BatchBegins(); the status names `what`, and with each Step() the number of the message.
void BatchBegins(const QString& what, qsizetype messages);
void Step();

void TickBegins();
void TickEnds(bool nextComes);

/// Tells that the process works, if it does and if it is time. What Install() arranges; a test calls it by itself.
void Look();

/// Of the whole process.
[[nodiscard]] Liveness& Work();

} // namespace Service
