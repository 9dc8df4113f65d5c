// Included first: the C++ library's headers then declare no template as instantiated elsewhere, so
// those templates can be specialised.
#pragma once

#include <bits/c++config.h>

#undef _GLIBCXX_EXTERN_TEMPLATE
#define _GLIBCXX_EXTERN_TEMPLATE 0
