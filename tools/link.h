// The link to a gateway as `vxa call` uses it: opened, one transaction branch driven over it, closed.
#pragma once

#include <stdexcept>
#include <string>

#include "vxa/xa.h"

namespace vxa::tools {

// The gateway, or the way to it, does not do what was asked; what() says so in plain words, with the code.
struct LinkError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One at a time: the library keeps the link per process.
class Link {
 public:
  // gateway: HOST:PORT. seconds: the longest that any reply is waited for.
  Link(const std::string& gateway, int seconds);
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;
  ~Link();

  // A branch of a name that nobody else uses. Each verb throws LinkError when the branch does not get there; prepare
  // says whether there is anything left to commit.
  void start();
  void end();
  bool prepare();
  void commit();
  void rollback();

 private:
  XID branch_{};
};

}  // namespace vxa::tools
