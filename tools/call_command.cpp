// `vxa call`: calls one service with standard input, in a transaction branch of its own.
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

#include "base/heap.h"
#include "gateway/assignment_text.h"
#include "gateway/message.h"
#include "gateway/names.h"
#include "gateway/text.h"
#include "tools/commands.h"
#include "tools/console.h"
#include "tools/link.h"
#include "vxa/fbuf.h"
#include "vxa/xatmi.h"

namespace vxa::tools {

namespace {

using gateway::Buffer;
using gateway::joined;

struct CallArguments {
  std::string gateway;
  std::string service;
  int seconds = 30;
  bool rollback = false;
  bool carray = false;
  bool field = false;
  bool text = false;
};

// What came of the call. Without an error the reply is whole; a service that fails may send one too.
struct Reply {
  Buffer data;
  long length = 0;
  std::string trouble;  // in plain words; empty for none
};

constexpr std::size_t kLongestServiceName = 31;
constexpr int kNoReply = -3;

std::string standard_input() { return std::string(std::istreambuf_iterator<char>(std::cin), {}); }

// The request that the input makes, its length in the header.
Buffer request_of(const CallArguments& arguments, const std::string& input) {
  if (arguments.field) return gateway::parse_assignments(input);
  if (input.size() > static_cast<std::size_t>(gateway::kLargestPayload))
    throw std::runtime_error("standard input is longer than a message can be");
  if (!arguments.carray) {
    if (input.find('\0') != input.npos) throw std::runtime_error("standard input holds a byte 0: use --carray");
    return gateway::make_string(input);
  }
  Buffer buffer = gateway::make_buffer("CARRAY", static_cast<std::int64_t>(input.size()));
  std::memcpy(buffer.get(), input.data(), input.size());
  gateway::header_of(buffer).datalen = static_cast<std::int32_t>(input.size());
  return buffer;
}

std::string trouble_with(const std::string& service, int result, int seconds) {
  const int error = tperrno;
  if (result == kNoReply && error == 0)
    return joined(service, ": the gateway closed the link, or sent no whole reply within ", seconds, " seconds");
  return joined(service, ": ", gateway::tp_error_meaning(error), " (", gateway::tp_error_name(error), ", ", error,
                error == TPESVCFAIL ? joined(", application code ", tpurcode) : "", ")");
}

Reply call(const CallArguments& arguments, Buffer request) {
  char* output = gateway::make_buffer("STRING", 0).release();
  Reply reply;
  const long length = gateway::header_of(request).datalen;
  const int result = tpcall(arguments.service.c_str(), request.get(), length, &output, &reply.length, 0);
  reply.data.reset(output);
  if (result != 1) reply.trouble = trouble_with(arguments.service, result, arguments.seconds);
  return reply;
}

std::string listing(const char* field_buffer) {
  char* text = nullptr;
  std::size_t length = 0;
  FILE* stream = open_memstream(&text, &length);
  const bool printed = stream && fbfprint(field_buffer, stream) == 1;
  if (stream) std::fclose(stream);
  const HeapPtr<char> owned{text};
  if (!printed) throw std::runtime_error("the reply's fields cannot be listed");
  return std::string(text, length);
}

std::string printable(const Reply& reply, bool as_text) {
  switch (gateway::header_of(reply.data).type) {
    case payload::kField:
      return as_text ? gateway::assignment_text(reply.data.get()) : listing(reply.data.get());
    case payload::kString:
      return std::string(reply.data.get(), strnlen(reply.data.get(), static_cast<std::size_t>(reply.length)));
    case payload::kCarray:
      return std::string(reply.data.get(), static_cast<std::size_t>(reply.length));
    default:
      return {};
  }
}

// Takes the branch to its end; the word for where it ended.
const char* complete(Link& link, bool rollback) {
  link.end();
  if (rollback) {
    link.rollback();
    return "rolled back";
  }
  if (link.prepare()) link.commit();
  return "committed";
}

// The branch of a call that failed. The gateway may have marked it so that its end fails too.
void undo(Link& link) {
  try {
    link.end();
  } catch (const LinkError&) {
  }
  try {
    link.rollback();
  } catch (const LinkError&) {
  }
}

void run_call(const CallArguments& arguments) {
  if (arguments.service.empty() || arguments.service.size() > kLongestServiceName)
    throw std::runtime_error("the name of a service has 1 to 31 characters");
  Buffer request = request_of(arguments, standard_input());

  Console console;
  Link link(arguments.gateway, arguments.seconds);
  link.start();
  const Reply reply = call(arguments, std::move(request));
  console.write(printable(reply, arguments.text));
  if (!reply.trouble.empty()) {
    undo(link);
    throw std::runtime_error(reply.trouble + "; the transaction is not committed");
  }
  std::cerr << joined("vxa: ", arguments.service, " answered, ", complete(link, arguments.rollback), "\n");
}

}  // namespace

void add_call(CLI::App& vxa) {
  auto arguments = std::make_shared<CallArguments>();
  CLI::App* command = vxa.add_subcommand("call", "Call a service with standard input, in a transaction of its own");
  command->add_option("SERVICE", arguments->service, "Name of the service")->required();
  command->add_option("--gateway", arguments->gateway, "HOST:PORT of the gateway")->required();
  command->add_flag("--rollback", arguments->rollback, "Roll the transaction back instead of committing it");
  CLI::Option* carray =
      command->add_flag("--carray", arguments->carray, "Send the input as bytes (CARRAY), not as STRING");
  command
      ->add_flag("--field", arguments->field,
                 "Send fields (FIELD): NAME, tab, VALUE on each line, the names from the table in FDLFILE")
      ->excludes(carray);
  command->add_flag("--text", arguments->text, "Print fields as such lines too, not as a listing");
  command->add_option("--timeout", arguments->seconds, "Seconds to wait for a reply")
      ->capture_default_str()
      ->check(CLI::Range(1, 86400));
  command->callback([arguments] { run_call(*arguments); });
}

}  // namespace vxa::tools
