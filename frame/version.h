// The program's version, in the two forms it is shown and stored.
#pragma once

// Stored with a confirmed notice, so that the notice returns with each new version.
inline constexpr char kTavexonVersion[] = "0.9.0b";
// The Software tag an embedding writes, --version and the Version dialog.
inline constexpr char kTavexonVersionLine[] = "Tavexon Version 0.9.0b";
static_assert(sizeof kTavexonVersionLine == sizeof "Tavexon Version " - 1 + sizeof kTavexonVersion);
