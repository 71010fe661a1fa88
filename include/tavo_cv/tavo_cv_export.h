/// @file
/// Marks what the image library shows to its callers; everything else stays hidden.
#pragma once

/// Puts a class or a function into the image library's symbol table.
#define TAVO_CV_API __attribute__((visibility("default")))

/// Keeps a private member of an exported class out of the symbol table.
#define TAVO_CV_LOCAL __attribute__((visibility("hidden")))
