// <sqlext.h> of unixODBC, if it is installed, over the types of the stand-in.
#pragma GCC system_header // #include_next is an extension
#include "plinth_sql_types.h"
#include_next <sqlext.h>
