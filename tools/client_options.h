// Every option of the client.
#ifndef ZEL_CLIENT_TOOLS_CLIENT_OPTIONS_H
#define ZEL_CLIENT_TOOLS_CLIENT_OPTIONS_H

#include <vector>

#include "program.h"

/// The client's own options in the order of the help.
std::vector<Option> client_option_list();

/// One option for every stream setting in the order of the help; the choices are those of the libzel that is linked.
std::vector<Option> stream_option_list();

#endif
