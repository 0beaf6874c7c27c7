#pragma once

namespace norq_std_internal::platform {

/// From now on what the terminal sends as this signal is given to the handler of the signal threads as
/// `SignalKind::Terminal`; everything else goes its way. A signal that is ignored stays ignored. False with errno set.
bool watchTerminalSignal(int signal);

/// Ends that; an action that stood before comes back.
void unwatchTerminalSignal(int signal);

} // namespace norq_std_internal::platform
