// Services: what answers a call. A service is given a typed buffer and gives one back, at once or later.
#pragma once

#include <asio/any_io_executor.hpp>

#include <functional>
#include <map>
#include <string>

#include "gateway/ledger.h"
#include "gateway/message.h"

namespace vxa::gateway {

struct Request {
  Buffer data;         // never null: of type HEADER when the request carries no data
  Changes* changes{};  // of the branch that the call belongs to, for use before the service returns; null for none
};

struct Reply {
  Buffer data{};      // null for none; its header says how long it is
  int error = 0;      // XATMI error number, 0 for success
  int result = 0;     // application return code
  bool late = false;  // to be sent behind the next reply on the connection
};

using Answer = std::function<void(Reply)>;
using Service = std::function<void(Request, Answer)>;  // calls its Answer once, before or after it returns

using Services = std::map<std::string, Service, std::less<>>;

// ECHO, TOUPPER, FAIL, SLEEP, LATE. The executor runs their timers.
void add_basic_services(Services& services, const asio::any_io_executor& executor);

// OPEN, DEPOSIT, TRANSFER, BALANCE; the ledger must outlive the services.
void add_ledger_services(Services& services, Ledger& ledger);

}  // namespace vxa::gateway
