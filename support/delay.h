#pragma once

/// Blocks the calling thread for `ms` milliseconds; no event is processed meanwhile. Does not return when an end of the
/// process was requested before or during the wait: this is where long procedures end.
void Delay(unsigned int ms);
