// A client's session: what the messages of one connection ask for, and what is answered to them.
#pragma once

#include <memory>

#include "gateway/branches.h"
#include "gateway/connection.h"
#include "gateway/faults.h"
#include "gateway/log.h"
#include "gateway/services.h"

namespace vxa::gateway {

// What the sessions share; outlives them.
struct Shared {
  Branches& branches;
  const Services& services;
  Faults& faults;
  MessageLog& log;
};

class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(ConnectionId id, std::shared_ptr<Connection> connection, Shared& shared);

  // Serves the connection until it is closed; the connection keeps the session alive that long.
  void start();

 private:
  void received(Buffer message);
  void verb(const MsgHeader& request, const char* payload);
  void call(Buffer message);
  void reply_to_call(const MsgHeader& request, Reply reply);
  void acknowledge(const MsgHeader& request, int error);
  void send(const MsgHeader& request, Reply reply, bool succeeded);
  void closed(const std::string& why);

  ConnectionId id_;
  std::shared_ptr<Connection> connection_;
  Shared& shared_;
};

}  // namespace vxa::gateway
