#pragma once

#include <QString>

#include <functional>
#include <optional>

class QObject;

/// The way out of the process. An end can be asked for from anywhere and at any time; it takes effect in the event
/// loop, or, while the one thread is inside a long procedure, at its next wait.
namespace Ending {

/// Logs `why` and ends the event loop with `exitCode`. The first request stands, later ones are ignored.
void Request(int exitCode, const QString& why);

/// The exit code that was asked for, if any.
[[nodiscard]] std::optional<int> Requested();

/// Whether SIGTERM or SIGINT has come; if so, the end has been asked for. For loops that strangers can make long: the
/// event loop, where this is noticed otherwise, must come to its turn.
[[nodiscard]] bool ToldBySignal();

/// From now on SIGTERM and SIGINT ask for an end with exit code 0, and SIGPIPE and SIGXFSZ are ignored. Needs the
/// application object.
void InstallSignalHandlers();

/// While the thread waits, `look` is called several times a second, until `owner` is destroyed. It must not change
/// anything, but calls Request() when it sees a reason; no event is processed around it. The last one registered is
/// called first.
void WatchWhileWaiting(const QObject* owner, std::function<void()> look);

/// `close` is called once before the process ends, from inside a wait or from main(), if `owner` still lives: the place
/// to close what must be closed. The last one registered is called first.
void BeforeLeaving(const QObject* owner, std::function<void()> close);

/// Closes what is registered. For the end of main(), which does not destroy its objects; also called by
/// LeaveIfRequested().
void Close();

/// Only waits may call it. Looks for a reason to end; if there is one, closes what is registered and leaves the process
/// at once with the requested exit code. Returns when there is none.
void LeaveIfRequested();

} // namespace Ending
