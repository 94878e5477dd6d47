#pragma once

#if __cplusplus < 201703L
#error "gustaikrum needs C++17: compile with -std=c++17 or later"
#endif

// Marks what a shared library of this project offers; everything else stays inside.
#define GUSTAIKRUM_EXPORT __attribute__((visibility("default")))
// What an exported class keeps to itself.
#define GUSTAIKRUM_LOCAL __attribute__((visibility("hidden")))
