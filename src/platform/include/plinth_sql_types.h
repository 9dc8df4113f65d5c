// The types of <windows.h> that unixODBC's headers need, and the names that they add: the
// stand-in's types have the sizes that unixODBC expects. Included by plinth's headers that replace
// unixODBC's and then include them; so plinth's folder must be searched before unixODBC's.
#ifndef PLINTH_PLATFORM_SQL_TYPES_H
#define PLINTH_PLATFORM_SQL_TYPES_H

#include "guiddef.h"
#include "windef.h"

#define ALREADY_HAVE_WINDOWS_TYPE // makes unixODBC define none of these itself
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
