// The library's header brings the socket records without touching the C library's names: names of
// this system keep their meaning for a program, before that header and after it.
#include <sys/select.h>
#include <sys/time.h>

#include <windows.h>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <functional>

namespace
{

static_assert(sizeof(timeval) == 16 && sizeof(TIMEVAL) == 8);
static_assert(sizeof(fd_set) == 128 && sizeof(FD_SET) == 520);
static_assert(sizeof(hostent::h_length) == 4 && sizeof(HOSTENT::h_length) == 2);
static_assert(SOL_SOCKET == 1 && FD_SETSIZE == 1024);
// Also names of functions.
[[maybe_unused]] int (*const own_select)(int, fd_set*, fd_set*, fd_set*, timeval*) = select;
[[maybe_unused]] const auto own_bind = std::bind([](int value) { return value; }, 5);

} // namespace
