// For nearly every test: the test library, the stand-in with its test interface, the usual parts of
// the C++ library. Compiled once for all test programs (cmake/PlinthTestPrograms.cmake). A test
// file includes this, and whatever else it needs.
#pragma once

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#ifndef _WIN32
#include <plinth_platform_test.h>
#include <windows.h>
#endif
