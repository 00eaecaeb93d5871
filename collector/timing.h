#pragma once

/// The waits and counts of the collector that are no settings. The airtime plan (tools/) uses the same numbers.
namespace CollectorTiming {

inline constexpr int TickMs = 25000; ///< from the end of one tick to the next
inline constexpr unsigned int ClockReadOutPauseMs = 1500; ///< behind each read-out at the start of a time sweep
inline constexpr int MostPassesCounted = 127; ///< the count of passes is a signed byte

} // namespace CollectorTiming
