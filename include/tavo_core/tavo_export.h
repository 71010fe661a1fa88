/// @file
/// Marks what the core library shows to its callers; everything else stays hidden.
#pragma once

#define TAVO_CORE_API __attribute__((visibility("default")))
