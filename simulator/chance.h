#pragma once

#include <random>

/// Draws only if it can happen: a fault that is not switched on leaves the others as they are.
[[nodiscard]] inline bool Happens(double probability, std::mt19937& random)
{
    return probability > 0 && static_cast<double>(random()) < probability * 4294967296.0;
}
