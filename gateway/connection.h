// One client's socket: reads messages one after another, and writes those that are handed to it, in order.
#pragma once

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "gateway/faults.h"
#include "gateway/message.h"

namespace vxa::gateway {

// Lives as long as an operation on its socket is under way, or someone holds it.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  // Called with each message, its payload still in network form, and once with the reason when the connection is over.
  using OnMessage = std::function<void(Buffer)>;
  using OnClosed = std::function<void(const std::string& why)>;

  explicit Connection(asio::ip::tcp::socket socket);

  void start(OnMessage on_message, OnClosed on_closed);
  void send(Delivery delivery);
  void close(const std::string& why);

 private:
  void read_header();
  void read_payload();
  void received();
  void release_late();
  void send_next();
  void write(const WireMessage& message, std::size_t from, std::size_t end);
  void written(const WireMessage& message);

  asio::ip::tcp::socket socket_;
  OnMessage on_message_;
  OnClosed on_closed_;
  WireHeader header_{};
  Buffer incoming_;
  std::deque<Delivery> outbox_;  // the first is being sent
  std::vector<Delivery> late_;   // wait for something to be late behind
  asio::steady_timer pause_;     // before a delayed message
  asio::steady_timer patience_;  // late messages go out after it, whatever happens
};

}  // namespace vxa::gateway
