#pragma once

// Marks what a shared library of this project offers; everything else stays inside.
#define GUSTAIKRUM_EXPORT __attribute__((visibility("default")))
// What an exported class keeps to itself.
#define GUSTAIKRUM_LOCAL __attribute__((visibility("hidden")))
