#pragma once

#include "linepeer.h"

#include <functional>
#include <map>

/// What is to happen later, by time; of two things at one moment the one that was entered first.
class Agenda final {
public:
    using Task = std::function<void(Moment now)>;

    void At(Moment when, Task task) { tasks.emplace(when, std::move(task)); }

    [[nodiscard]] std::optional<Moment> NextDue() const
    {
        return tasks.empty() ? std::nullopt : std::optional(tasks.begin()->first);
    }

    /// Does all that is due by `now`, each with the time that it was entered for.
    void Run(Moment now)
    {
        while (!tasks.empty() && tasks.begin()->first <= now) {
            const auto next = tasks.extract(tasks.begin());
            next.mapped()(next.key());
        }
    }

private:
    std::multimap<Moment, Task> tasks;
};
