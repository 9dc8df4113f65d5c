// Functions of a test program that are called instead of those of the stand-in or the C library,
// and call them in turn. Linux only.
#pragma once

#include <dlfcn.h>

// Before the definition of such a function.
#define TEST_INSTEAD extern "C" __attribute__((visibility("default")))

// In its body: the function that it is called instead of.
#define TEST_REAL(name) reinterpret_cast<decltype(::name)*>(dlsym(RTLD_NEXT, #name))
