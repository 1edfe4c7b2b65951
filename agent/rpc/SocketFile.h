#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace Rpc {

// Makes a socket's folder where only that is missing, 0755, and takes away a socket file on which
// nobody answers. Throws std::runtime_error, with a text for people, when somebody does, when
// something else has that name, or when the folder cannot be had. True when the folder is new.
bool prepareSocketFile(const std::string& path);

// Connects; gives a descriptor, or -1 with errno set.
int connectTo(const std::string& path);

}  // namespace Rpc
