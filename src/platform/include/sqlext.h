// Includes unixODBC's <sqlext.h>, which must be installed, and uses the stand-in's types for it.
#pragma GCC system_header // #include_next is an extension
#include "plinth_sql_types.h"
#include_next <sqlext.h>
