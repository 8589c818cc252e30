// The services that need nothing but their request.
#include "gateway/services.h"

#include <asio/steady_timer.hpp>

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

namespace vxa::gateway {

namespace {

bool is_text(const MsgHeader& header) { return header.type == payload::kString || header.type == payload::kCarray; }

// The number that a STRING request holds, or the one to take instead. (A byte 0 stands behind every payload.)
int number_in(const Request& request, int otherwise) {
  if (!is_text(header_of(request.data))) return otherwise;
  char* end = nullptr;
  const long number = std::strtol(request.data.get(), &end, 10);
  return end == request.data.get() ? otherwise : static_cast<int>(std::clamp(number, 0L, 60'000L));
}

void echo(Request request, const Answer& answer) { answer({.data = std::move(request.data)}); }

void to_upper(Request request, const Answer& answer) {
  const MsgHeader& header = header_of(request.data);
  if (!is_text(header)) return answer({.error = TPEITYPE});
  std::transform(request.data.get(), request.data.get() + header.datalen, request.data.get(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  answer({.data = std::move(request.data)});
}

void fail(Request request, const Answer& answer) {
  const int code = number_in(request, 1);
  answer({.data = std::move(request.data), .error = TPESVCFAIL, .result = code});
}

void late(Request request, const Answer& answer) { answer({.data = std::move(request.data), .late = true}); }

void sleep(const asio::any_io_executor& executor, Request request, Answer answer) {
  const std::chrono::milliseconds pause{number_in(request, 1000)};
  auto timer = std::make_shared<asio::steady_timer>(executor, pause);
  auto data = std::make_shared<Buffer>(std::move(request.data));
  timer->async_wait([timer, data, answer = std::move(answer)](const std::error_code& error) {
    if (!error) answer({.data = std::move(*data)});
  });
}

}  // namespace

void add_basic_services(Services& services, const asio::any_io_executor& executor) {
  services["ECHO"] = echo;
  services["TOUPPER"] = to_upper;
  services["FAIL"] = fail;
  services["LATE"] = late;
  services["SLEEP"] = [executor](Request request, Answer answer) {
    sleep(executor, std::move(request), std::move(answer));
  };
}

}  // namespace vxa::gateway
