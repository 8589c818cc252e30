// Visibility of the library's symbols: everything is hidden unless it is marked here, or declared in a public header
// (those switch the visibility for their declarations).
#pragma once

// A function or an object that belongs to the library's C interface but is declared in no public header.
#define VXA_EXPORT extern "C" __attribute__((visibility("default")))
