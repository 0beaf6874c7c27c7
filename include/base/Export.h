#pragma once

/// Marks a class or function as part of the library's interface; all else is hidden.
///
/// It reads the same inside the library and in its users, so that run-time type information of exceptions and templates
/// is one object across every module of a process.
#define NORQSTD_EXPORT __attribute__((visibility("default")))
