// Includes unixODBC's <sqlext.h>, which has to be installed, with the stand-in's own types.
#pragma GCC system_header // #include_next is an extension
#include "plinth_sql_types.h"
#include_next <sqlext.h>
