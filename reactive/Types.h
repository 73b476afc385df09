// Fixed-width number types shared by the framework and the records.
//
// They live in the global namespace on purpose: trace lines print handler
// signatures as the compiler spells them, and a VLAN or VNI parameter reads
// "U32" there (for instance "handleVlan(U32)").
#pragma once

#include <cstdint>

typedef std::uint16_t U16;
typedef std::uint32_t U32;
typedef std::uint64_t U64;

namespace Vek {

// Number of an attribute within its entity type; reactors compare ids only.
typedef U32 AttributeId;

}  // namespace Vek
