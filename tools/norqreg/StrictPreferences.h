#pragma once

namespace norqreg {

/// From now on the roots of `Preferences` are nodes of the registry that throw what the registry refuses. Those of the
/// library keep silent about a write that failed, so that a program runs on; an import must not.
void useStrictPreferences();

} // namespace norqreg
