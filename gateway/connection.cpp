#include "gateway/connection.h"

#include <asio/read.hpp>
#include <asio/write.hpp>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace vxa::gateway {

namespace {

constexpr std::chrono::seconds kPatience{3};
constexpr int kDiedOnDemand = 70;

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket)
    : socket_(std::move(socket)), pause_(socket_.get_executor()), patience_(socket_.get_executor()) {
  std::error_code ignored;
  socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
}

void Connection::start(OnMessage on_message, OnClosed on_closed) {
  on_message_ = std::move(on_message);
  on_closed_ = std::move(on_closed);
  read_header();
}

void Connection::close(const std::string& why) {
  if (!socket_.is_open()) return;
  std::error_code ignored;
  socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
  socket_.close(ignored);
  pause_.cancel();
  patience_.cancel();
  on_message_ = nullptr;
  if (const OnClosed on_closed = std::exchange(on_closed_, nullptr)) on_closed(why);
}

void Connection::read_header() {
  asio::async_read(socket_, asio::buffer(header_),
                   [self = shared_from_this()](const std::error_code& error, std::size_t read) {
                     if (error) return self->close(read ? "closed in the middle of a header" : "closed by the client");
                     self->read_payload();
                   });
}

void Connection::read_payload() {
  try {
    incoming_ = announced(header_);
  } catch (const std::exception& refused) {
    return close(refused.what());
  }
  const auto length = static_cast<std::size_t>(header_of(incoming_).datalen);
  asio::async_read(socket_, asio::buffer(incoming_.get(), length),
                   [self = shared_from_this()](const std::error_code& error, std::size_t) {
                     if (error) return self->close("closed in the middle of a message");
                     self->received();
                   });
}

void Connection::received() {
  // A copy: the handler may close the connection, which drops the original.
  if (const OnMessage on_message = on_message_) on_message(std::move(incoming_));
  if (socket_.is_open()) read_header();
}

void Connection::send(Delivery delivery) {
  if (!socket_.is_open()) return;
  if (delivery.late) {
    late_.push_back(std::move(delivery));
    patience_.expires_after(kPatience);
    patience_.async_wait([self = shared_from_this()](const std::error_code& error) {
      if (!error) self->release_late();
    });
    return;
  }
  const bool idle = outbox_.empty();
  outbox_.push_back(std::move(delivery));
  std::move(late_.begin(), late_.end(), std::back_inserter(outbox_));
  late_.clear();
  if (idle) send_next();
}

void Connection::release_late() {
  const bool idle = outbox_.empty();
  std::move(late_.begin(), late_.end(), std::back_inserter(outbox_));
  late_.clear();
  if (idle && !outbox_.empty()) send_next();
}

void Connection::send_next() {
  Delivery& delivery = outbox_.front();
  if (delivery.delay.count() > 0) {
    pause_.expires_after(std::exchange(delivery.delay, {}));
    pause_.async_wait([self = shared_from_this()](const std::error_code& error) {
      if (!error) self->send_next();
    });
    return;
  }
  if (delivery.stray) return write(*delivery.stray, 0, delivery.stray->length);
  write(delivery.message, 0, delivery.cut.value_or(delivery.message.length));
}

// The message is part of the first delivery, which stays where it is until it is sent.
void Connection::write(const WireMessage& message, std::size_t from, std::size_t end) {
  const std::size_t length = std::min(end - from, outbox_.front().step);
  asio::async_write(
      socket_, asio::buffer(message.bytes() + from, length),
      [self = shared_from_this(), &message, next = from + length, end](const std::error_code& error, std::size_t) {
        if (error) return self->close("closed by the client while it was being answered");
        if (next < end) return self->write(message, next, end);
        self->written(message);
      });
}

void Connection::written(const WireMessage& message) {
  Delivery& delivery = outbox_.front();
  if (delivery.stray && &message == &*delivery.stray) {
    delivery.stray.reset();
    return send_next();
  }
  if (delivery.die) ::_exit(kDiedOnDemand);
  if (delivery.cut) return close("closed on demand");
  outbox_.pop_front();
  if (!outbox_.empty()) send_next();
}

}  // namespace vxa::gateway
