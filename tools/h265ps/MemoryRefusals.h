#pragma once

namespace h265ps {

class COutputStream;

/// Whether an allocation failed since this was last asked. Some failures are swallowed by those who asked for
/// the memory (text streams cut what they hold, a line of the module's log is dropped): what was made meanwhile
/// can lack something, although nobody threw.
///
/// Failures are noted from before the first constructor of a static object on. One where no exception may pass,
/// in a destructor, in front of main, or of the exception itself, ends the program on the spot, with what was
/// written so far, an error line and exit code 2.
[[nodiscard]] bool wasMemoryRefused() noexcept;

/// The output to be written when the program ends on the spot; null for none.
void writeAtLast(COutputStream* pOutput) noexcept;

} // namespace h265ps
