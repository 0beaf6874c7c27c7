#pragma once

#include <cstdint>

/// The words of the registry: a tree of keys, each with named values, in two hives.
///
/// A path names a key below a root, with backslashes between the names and none in front; the empty path is the root
/// itself. Names are compared without regard to case and keep the case that they were made with.
namespace norq_std {

/// One of the two roots, or a key that is open; 0 is none.
using HKey = std::uintptr_t;

inline constexpr HKey HKEY_CURRENT_USER = 0x80000001;
inline constexpr HKey HKEY_LOCAL_MACHINE = 0x80000002;

/// What an open key may be used for, as flags.
inline constexpr std::uint32_t KEY_QUERY_VALUE = 0x1;
inline constexpr std::uint32_t KEY_SET_VALUE = 0x2;
inline constexpr std::uint32_t KEY_CREATE_SUB_KEY = 0x4;
inline constexpr std::uint32_t KEY_ENUMERATE_SUB_KEYS = 0x8;
inline constexpr std::uint32_t KEY_NOTIFY = 0x10;
inline constexpr std::uint32_t KEY_READ = 0x20019;
inline constexpr std::uint32_t KEY_WRITE = 0x20006;
inline constexpr std::uint32_t KEY_ALL_ACCESS = 0xF003F;

/// The types of values that the library itself writes; a value of any other type keeps its number and its bytes.
inline constexpr std::uint32_t REG_SZ = 1;
inline constexpr std::uint32_t REG_DWORD = 4;

/// What a notification asks for, as flags: keys made or removed directly below the key; its own values.
inline constexpr std::uint32_t REG_NOTIFY_CHANGE_NAME = 0x1;
inline constexpr std::uint32_t REG_NOTIFY_CHANGE_LAST_SET = 0x4;

} // namespace norq_std
