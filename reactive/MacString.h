// The two spellings of a MAC address text: "aa:bb:cc:dd:ee:ff" (colons, as
// the records keep it) and "aa-bb-cc-dd-ee-ff" (dashes, as some switches
// print it).
//
// Both functions only swap one separator for the other, over the whole text.
// They do not check that the text is a MAC and leave everything else,
// letter case included, as it is:
//
//   getDashMacString("aa:BB:cc") == "aa-BB-cc"
//   getColonMacString("aa-bb:cc") == "aa:bb:cc"
#pragma once

#include "reactive/String.h"

namespace VirtualNetwork::Agent {

// `mac` with every ':' replaced by '-'.
Vek::String getDashMacString(Vek::String const& mac);
// `mac` with every '-' replaced by ':'.
Vek::String getColonMacString(Vek::String const& mac);

}  // namespace VirtualNetwork::Agent
