// Names of hosts, services and protocols. The system's records are copied field by field, because
// their fields have another order.
#include <windows.h>

#include <winsock.h>

#include "plinth_w32_system.h"

namespace
{

int Copy(const HOSTENT* found, QV_HOSTENT* out)
{
    if (!found)
        return QV_ERR_FAILED;
    out->h_name = found->h_name;
    out->h_aliases = found->h_aliases;
    out->h_addrtype = found->h_addrtype;
    out->h_length = found->h_length;
    out->h_addr_list = found->h_addr_list;
    return QV_OK;
}

int Copy(const SERVENT* found, QV_SERVENT* out)
{
    if (!found)
        return QV_ERR_FAILED;
    out->s_name = found->s_name;
    out->s_aliases = found->s_aliases;
    out->s_port = found->s_port;
    out->s_proto = found->s_proto;
    return QV_OK;
}

int Copy(const PROTOENT* found, QV_PROTOENT* out)
{
    if (!found)
        return QV_ERR_FAILED;
    out->p_name = found->p_name;
    out->p_aliases = found->p_aliases;
    out->p_proto = found->p_proto;
    return QV_OK;
}

} // namespace

extern "C" int QV_GetHostName(char* name, int len)
{
    return gethostname(name, len) == 0 ? QV_OK : QV_ERR_FAILED;
}

extern "C" int QV_GetHostByAddr(QV_HOSTENT* out, const char* addr, int len, int type)
{
    return Copy(gethostbyaddr(addr, len, type), out);
}

extern "C" int QV_GetHostByName(QV_HOSTENT* out, const char* name)
{
    return Copy(gethostbyname(name), out);
}

extern "C" int QV_GetServByPort(QV_SERVENT* out, short port, const char* proto)
{
    return Copy(getservbyport(port, proto), out);
}

extern "C" int QV_GetServByName(QV_SERVENT* out, const char* name, const char* proto)
{
    return Copy(getservbyname(name, proto), out);
}

extern "C" int QV_GetProtoByNumber(QV_PROTOENT* out, int number)
{
    return Copy(getprotobynumber(number), out);
}

extern "C" int QV_GetProtoByName(QV_PROTOENT* out, const char* name)
{
    return Copy(getprotobyname(name), out);
}
