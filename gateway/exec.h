// Services in any language: a shell command gets the request on standard input and answers on standard output.
#pragma once

#include <asio/any_io_executor.hpp>

#include <chrono>
#include <string>

#include "gateway/services.h"

namespace vxa::gateway {

// A service that runs the command, once per call. A FIELD request arrives as assignment text, and its output is read as
// such; other data goes in and comes out as it is. A command that exits with another status than 0 fails the service
// with that status as application return code; one that runs longer than the limit, with what it has started, is
// killed.
Service exec_service(const asio::any_io_executor& executor, const std::string& command, std::chrono::seconds limit);

}  // namespace vxa::gateway
