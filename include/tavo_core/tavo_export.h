/// @file
/// Marks what the core library shows to its callers; everything else stays hidden.
#pragma once

/// Puts a class or a function into the core library's symbol table.
#define TAVO_CORE_API __attribute__((visibility("default")))
