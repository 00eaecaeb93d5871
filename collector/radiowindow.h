#pragma once

#include <algorithm>

/// How many nodes may be on their way at once. It shrinks while the radio has trouble and grows back with success.
class RadioWindow final {
public:
    /// `most` is at least 1, and what it begins with.
    explicit RadioWindow(int most = 1) : largest(most), size(most) { }

    [[nodiscard]] int Size() const { return size; }

    void Delivered() { failuresInARow = 0; }

    /// A node has answered, or was delivered a message that gets no answer.
    void Succeeded()
    {
        Delivered();
        if (++successes % SuccessesToGrow == 0)
            size = std::min(size + 1, largest);
    }

    /// A message did not arrive.
    void Failed()
    {
        if (++failuresInARow % FailuresToShrink == 0)
            Shrink();
    }

    /// The modem does not take another message now.
    void Shrink()
    {
        size = std::max(size / 2, 1);
        successes = 0;
    }

    static constexpr int SuccessesToGrow = 20;
    static constexpr int FailuresToShrink = 5;

private:
    int largest;
    int size;
    int successes = 0;
    int failuresInARow = 0;
};
