// Hashing of keys, by the four key kinds of the collections.
//
//   KeyStringLegacy    Vek::String, Vek::Name
//   KeyU32IdHash       U32
//   KeyPointer         Vek::Ptr<...> and plain pointers
//   KeyAndRhashLegacy  composite values with a `hash(U32 seed)` member; the
//                      seed is always 0
//
// Collections take the bucket of a key from the top bits of its hash, so
// every hash here ends with a full-avalanche mix.
#pragma once

#include <string_view>
#include <type_traits>

#include "reactive/Types.h"

namespace Vek {

template <class T>
class Ptr;

namespace detail {
class TextRef;
}

// murmur3's 64-bit finaliser: every input bit reaches every output bit.
constexpr U32 mix64(U64 v) {
  v ^= v >> 33;
  v *= 0xff51afd7ed558ccdull;
  v ^= v >> 33;
  v *= 0xc4ceb9fe1a85ec53ull;
  v ^= v >> 33;
  return static_cast<U32>(v);
}

constexpr U32 mix32(U32 h) { return mix64(h); }

// FNV-1a over the bytes, then mixed.
constexpr U32 hashBytes(std::string_view text) {
  U32 h = 2166136261u;
  for (char c : text) {
    h ^= static_cast<unsigned char>(c);
    h *= 16777619u;
  }
  return mix32(h);
}

enum class KeyKind { KeyStringLegacy, KeyU32IdHash, KeyPointer, KeyAndRhashLegacy };

template <class K, class = void>
struct KeyTraits;

template <class K>
struct KeyTraits<K, std::enable_if_t<std::is_base_of_v<detail::TextRef, K>>> {
  static constexpr KeyKind kind = KeyKind::KeyStringLegacy;
  static U32 hash(K const& k) { return k.hash(); }
};

template <>
struct KeyTraits<U32> {
  static constexpr KeyKind kind = KeyKind::KeyU32IdHash;
  static U32 hash(U32 k) { return mix32(k); }
};

template <class T>
struct KeyTraits<Ptr<T>> {
  static constexpr KeyKind kind = KeyKind::KeyPointer;
  static U32 hash(Ptr<T> const& k) { return mix64(reinterpret_cast<std::uintptr_t>(k.ptr())); }
};

template <class T>
struct KeyTraits<T*> {
  static constexpr KeyKind kind = KeyKind::KeyPointer;
  static U32 hash(T* k) { return mix64(reinterpret_cast<std::uintptr_t>(k)); }
};

template <class K>
struct KeyTraits<
    K, std::enable_if_t<std::is_same_v<decltype(std::declval<K const&>().hash(U32())), U32> &&
                        !std::is_base_of_v<detail::TextRef, K>>> {
  static constexpr KeyKind kind = KeyKind::KeyAndRhashLegacy;
  static U32 hash(K const& k) { return mix32(k.hash(0)); }
};

template <class K>
U32 keyHash(K const& k) {
  return KeyTraits<K>::hash(k);
}

}  // namespace Vek
