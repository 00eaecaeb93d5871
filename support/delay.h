#pragma once

/// Blocks the calling thread for `ms` milliseconds; no event is processed meanwhile. Does not return when the end of
/// the process was requested before or during the wait: the process ends here.
void Delay(unsigned int ms);
