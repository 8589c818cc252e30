// The codes of the gateway protocol (docs/protocol.md has the tables).
#pragma once

namespace vxa::gateway {

// Message types of requests.
namespace request {
enum Code : int {
  kCall = 3,
  kAsyncCall = 4,
  kAcknowledge = 28,  // never sent as a request; its reply codes acknowledge an asynchronous call
  kPrepare = 112,
  kCommit = 113,
  kRollback = 114,
  kOnePhaseCommit = 116,
  kStart = 149,
  kEnd = 150,
};
}  // namespace request

// A reply's message type is the request's and one of these.
inline constexpr int kSuccess = 1000;
inline constexpr int kFailure = 2000;

}  // namespace vxa::gateway
