#pragma once

/// Tells a command that goes on until somebody has enough of it: SIGINT, SIGTERM, SIGHUP, or nobody reads its stdout
/// any more. From its making on these signals, and SIGPIPE, end nothing by themselves. One for each process.
class Interruption final {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Does not wait.
    [[nodiscard]] bool HasCome() const;

    /// Waits at most so long; true when it has come.
    [[nodiscard]] bool ComesWithin(int milliseconds) const;

    /// To be looked at in another wait, for input; stdout for errors.
    [[nodiscard]] int SignalDescriptor() const { return descriptor; }

private:
    int descriptor = -1;
};
