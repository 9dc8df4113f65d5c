// Functions of a test program that replace those of the stand-in or the C library, and call them.
// Linux only.
#pragma once

#include <dlfcn.h>

// Placed before the definition of such a function.
#define TEST_INSTEAD extern "C" __attribute__((visibility("default")))

// For use in its body: the function that it replaces.
#define TEST_REAL(name) reinterpret_cast<decltype(::name)*>(dlsym(RTLD_NEXT, #name))
