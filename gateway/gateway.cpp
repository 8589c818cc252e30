#include "gateway/gateway.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/signal_set.hpp>

#include <csignal>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

#include "gateway/branches.h"
#include "gateway/exec.h"
#include "gateway/ledger.h"
#include "gateway/log.h"
#include "gateway/services.h"
#include "gateway/session.h"
#include "gateway/store.h"
#include "gateway/text.h"
#include "vxa/vxa_host.h"

namespace vxa::gateway {

namespace {

using asio::ip::tcp;

// Listens there; trouble with that is told with the address.
tcp::acceptor listen_at(asio::io_context& context, const std::string& address, std::uint16_t port) {
  try {
    return {context, tcp::endpoint(asio::ip::make_address(address), port)};
  } catch (const std::system_error& error) {
    throw std::runtime_error(joined(address, ":", port, ": ", error.code().message()));
  }
}

class Gateway {
 public:
  Gateway(const Options& options, std::ostream& out)
      : store_(options.database),
        ledger_(store_),
        branches_(store_, ledger_),
        faults_(options.faults),
        log_(out, options.verbose),
        shared_{branches_, services_, faults_, log_},
        acceptor_(listen_at(context_, options.address, options.port)),
        signals_(context_, SIGINT, SIGTERM) {
    add_basic_services(services_, context_.get_executor());
    add_ledger_services(services_, ledger_);
    for (const auto& [name, command] : options.commands)
      services_[name] = exec_service(context_.get_executor(), command, options.command_limit);
    out << "listening on " << acceptor_.local_endpoint() << std::endl;
  }

  void run() {
    if (branches_.count() > 0) log_.event(std::to_string(branches_.count()) + " prepared branches taken up");
    signals_.async_wait([this](const std::error_code& error, int) {
      if (!error) stop();
    });
    accept();
    context_.run();
    log_.event("stopped");
  }

 private:
  void accept() {
    acceptor_.async_accept([this](const std::error_code& error, tcp::socket socket) {
      if (!error) serve(std::make_shared<Connection>(std::move(socket)));
      accept();
    });
  }

  void serve(std::shared_ptr<Connection> connection) {
    std::erase_if(connections_, [](const auto& each) { return each.expired(); });
    connections_.push_back(connection);
    std::make_shared<Session>(++last_id_, std::move(connection), shared_)->start();
  }

  void stop() {
    for (const auto& each : connections_)
      if (const auto connection = each.lock()) connection->close("closed: the gateway stops");
    context_.stop();
  }

  Store store_;
  Ledger ledger_;
  Branches branches_;
  Services services_;
  Faults faults_;
  MessageLog log_;
  Shared shared_;
  ConnectionId last_id_ = 0;
  std::vector<std::weak_ptr<Connection>> connections_;
  asio::io_context context_{1};  // what it still runs at the end refers to all the above
  tcp::acceptor acceptor_;
  asio::signal_set signals_;
};

}  // namespace

void run(const Options& options, std::ostream& out) {
  std::signal(SIGPIPE, SIG_IGN);
  _check_node();
  Gateway(options, out).run();
}

}  // namespace vxa::gateway
