// What unixODBC's headers need of <windows.h>, and the names that they add to it: the types of the
// stand-in have the sizes that unixODBC expects. Included by the headers that stand before those of
// unixODBC; for the same reason plinth's folder has to be searched before that of unixODBC.
#ifndef PLINTH_PLATFORM_SQL_TYPES_H
#define PLINTH_PLATFORM_SQL_TYPES_H

#include "guiddef.h"
#include "windef.h"

#define ALREADY_HAVE_WINDOWS_TYPE // which makes unixODBC define none of these itself
#define SQL_API

typedef signed char SCHAR;
typedef SCHAR SQLSCHAR;
typedef int SDWORD;
typedef unsigned int UDWORD;
typedef short SWORD;
typedef unsigned short UWORD;
typedef short SSHORT;
typedef double SDOUBLE;
typedef double LDOUBLE;
typedef float SFLOAT;
typedef void* PTR;
typedef short RETCODE;
typedef HWND SQLHWND;

#endif
