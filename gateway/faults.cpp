#include "gateway/faults.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>
#include <utility>

#include "base/bytes.h"
#include "gateway/text.h"
#include "vxa/vxa_host.h"

namespace vxa::gateway {

const char kFaultHelp[] =
    "Damage replies, KIND[=VALUE][@N]: with @N the N-th reply of the gateway alone, else every one. KIND is one of\n"
    "  close[=BYTES]    close the connection after so many bytes of the reply (half of them)\n"
    "  die[=BYTES]      the same, and end the gateway as if it were killed\n"
    "  magic, size, datalen, type, msgtype, seqno, cd, handle=VALUE   write VALUE into that word of the header\n"
    "  stray[=MSGTYPE]  send a message that nobody asked for before the reply (1003)\n"
    "  late             send the reply behind the next one\n"
    "  trickle          send one byte at a time\n"
    "  delay=MS         wait before the reply";

namespace {

struct HeaderWord {
  const char* name;
  std::size_t offset;
};

constexpr HeaderWord kHeaderWords[] = {
    {"magic", offsetof(MsgHeader, magic)},     {"size", offsetof(MsgHeader, size)},
    {"datalen", offsetof(MsgHeader, datalen)}, {"type", offsetof(MsgHeader, type)},
    {"msgtype", offsetof(MsgHeader, msgtype)}, {"seqno", offsetof(MsgHeader, seqno)},
    {"cd", offsetof(MsgHeader, cd)},           {"handle", offsetof(MsgHeader, handle)},
};

const HeaderWord* header_word(const std::string& kind) {
  const auto* word = std::find_if(std::begin(kHeaderWords), std::end(kHeaderWords),
                                  [&](const auto& each) { return kind == each.name; });
  return word == std::end(kHeaderWords) ? nullptr : word;
}

template <class T>
T number(std::string_view digits, const std::string& fault) {
  T value{};
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc{} || end != digits.data() + digits.size())
    throw std::invalid_argument("fault " + fault + ": not a number: " + std::string(digits));
  return value;
}

// An answer to a question that no client has asked.
WireMessage stray_message(int msgtype) {
  WireMessage wire{HeapPtr<MsgHeader>{_header_msg_make(msgtype, 0)}, kHeaderSize};
  if (!wire.block) throw std::bad_alloc();
  wire.block->seqno = wire.block->cd = wire.block->handle = -1;
  _hton_header(wire.block.get(), wire.block.get());
  return wire;
}

void damage(Delivery& delivery, const Fault& fault) {
  const std::size_t length = delivery.message.length;
  if (const HeaderWord* word = header_word(fault.kind)) {
    store_be(delivery.message.bytes() + word->offset, static_cast<std::uint32_t>(*fault.value));
  } else if (fault.kind == "close" || fault.kind == "die") {
    const auto wanted = static_cast<std::size_t>(fault.value.value_or(static_cast<std::int64_t>(length / 2)));
    delivery.cut = std::min(wanted, length);
    delivery.die = fault.kind == "die";
  } else if (fault.kind == "stray") {
    delivery.stray = stray_message(static_cast<int>(fault.value.value_or(1003)));
  } else if (fault.kind == "late") {
    delivery.late = true;
  } else if (fault.kind == "trickle") {
    delivery.step = 1;
  } else if (fault.kind == "delay") {
    delivery.delay = std::chrono::milliseconds{*fault.value};
  }
  delivery.damage = joined(delivery.damage, delivery.damage.empty() ? "" : ", ", fault.kind);
  if (fault.value) delivery.damage = joined(delivery.damage, "=", *fault.value);
}

}  // namespace

Fault Fault::parse(const std::string& text) {
  std::string_view rest = text;
  Fault fault;
  if (const auto at = rest.find('@'); at != rest.npos) {
    fault.which = number<std::uint64_t>(rest.substr(at + 1), text);
    rest = rest.substr(0, at);
  }
  if (const auto at = rest.find('='); at != rest.npos) {
    fault.value = number<std::int64_t>(rest.substr(at + 1), text);
    rest = rest.substr(0, at);
  }
  fault.kind = rest;

  static constexpr std::string_view kOtherKinds[] = {"close", "die", "stray", "late", "trickle", "delay"};
  const bool word = header_word(fault.kind);
  if (!word && std::find(std::begin(kOtherKinds), std::end(kOtherKinds), rest) == std::end(kOtherKinds))
    throw std::invalid_argument("fault " + text + ": no such kind of fault: " + fault.kind);
  if ((word || fault.kind == "delay") && !fault.value)
    throw std::invalid_argument("fault " + text + ": " + fault.kind + " needs a value");
  if (!word && fault.value.value_or(0) < 0)
    throw std::invalid_argument("fault " + text + ": the value must not be negative");
  return fault;
}

Delivery Faults::apply(WireMessage message) {
  ++count_;
  Delivery delivery{.message = std::move(message)};
  for (const Fault& fault : faults_)
    if (!fault.which || *fault.which == count_) damage(delivery, fault);
  return delivery;
}

}  // namespace vxa::gateway
