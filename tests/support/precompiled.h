// What most test files include, compiled once for all test programs. A test file names what it uses
// itself: this only saves time.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#ifndef _WIN32
#include <plinth_platform_test.h>
#include <windows.h>
#endif
