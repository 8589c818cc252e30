// What the gateway tells its user: a line per message and per event, with the time and the connection.
#pragma once

#include <ostream>
#include <string>

#include "gateway/branches.h"
#include "gateway/message.h"

namespace vxa::gateway {

class MessageLog {
 public:
  // Without verbose, events alone are written.
  MessageLog(std::ostream& out, bool verbose) : out_(out), verbose_(verbose) {}

  void event(const std::string& text);
  void event(ConnectionId connection, const std::string& text);
  void received(ConnectionId connection, const MsgHeader& header, const std::string& about);
  void sent(ConnectionId connection, const MsgHeader& header, const std::string& damage);

 private:
  void line(const std::string& text);

  std::ostream& out_;
  bool verbose_;
};

}  // namespace vxa::gateway
