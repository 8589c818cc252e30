#include "gateway/log.h"

#include <chrono>
#include <ctime>
#include <iomanip>

#include "gateway/names.h"
#include "gateway/protocol.h"
#include "gateway/text.h"

namespace vxa::gateway {

namespace {

std::string amount_of_data(const MsgHeader& header) {
  if (header.type == payload::kHeaderOnly || header.datalen == 0) return "no data";
  return joined(payload_name(header.type), ", ", header.datalen, " bytes");
}

bool is_call(int request) {
  return request == request::kCall || request == request::kAsyncCall || request == request::kAcknowledge;
}

std::string outcome(const MsgHeader& header, int request) {
  if (!is_call(request)) return xa_code_name(header.result);
  const std::string error = tp_error_name(static_cast<int>(header.flags));
  return header.result ? joined(error, ", application code ", header.result) : error;
}

}  // namespace

void MessageLog::event(const std::string& text) { line(text); }

void MessageLog::event(ConnectionId connection, const std::string& text) {
  line(joined("#", connection, "    ", text));
}

void MessageLog::received(ConnectionId connection, const MsgHeader& header, const std::string& about) {
  if (!verbose_) return;
  const std::string data = is_call(header.msgtype) ? joined(": ", amount_of_data(header)) : "";
  line(joined("#", connection, " <- ", request_name(header.msgtype), " ", about, data));
}

void MessageLog::sent(ConnectionId connection, const MsgHeader& header, const std::string& damage) {
  if (!verbose_) return;
  const int request = header.msgtype % 1000;
  const std::string data = is_call(request) ? joined(", ", amount_of_data(header)) : "";
  const std::string fault = damage.empty() ? "" : joined("   (fault: ", damage, ")");
  line(joined("#", connection, " -> ", request_name(request), ": ", outcome(header, request), data, fault));
}

void MessageLog::line(const std::string& text) {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  out_ << std::put_time(&local, "%H:%M:%S.") << std::setw(3) << std::setfill('0') << milliseconds << " " << text
       << std::endl;
}

}  // namespace vxa::gateway
