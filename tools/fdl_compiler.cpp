#include "tools/fdl_compiler.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "fb/fbcommon.h"
#include "fb/fdlformat.h"

namespace vxa::tools {

namespace {

// What a pair of lookups, one by name and one by key, may cost on average before a larger table is looked for, and how
// near to the best size a smaller one must come to be preferred.
constexpr double kGoodProbes = 2.4;
constexpr double kNearBest = 1.05;
constexpr std::int64_t kSlotsPerField = 64;
constexpr std::int64_t kHighestSum =
    1 << 20;  // no name's or key's hash sum reaches it, so that larger tables spread no better

// The slots that records get, in the order in which they come: the home slot, or the first free one after it.
class SlotTable {
 public:
  explicit SlotTable(int slots) : next_(static_cast<std::size_t>(slots)) { std::iota(next_.begin(), next_.end(), 0); }

  int take(int home) {
    const int slot = first_free(home);
    next_[static_cast<std::size_t>(slot)] = (slot + 1) % slots();
    probes_ += 1 + (slot - home + slots()) % slots();
    return slot;
  }
  std::int64_t probes() const { return probes_; }

 private:
  int slots() const { return static_cast<int>(next_.size()); }

  // A taken slot leads towards the first free one; following the leads shortens them.
  int first_free(int slot) {
    while (true) {
      int& next = next_[static_cast<std::size_t>(slot)];
      if (next == slot) return slot;
      next = next_[static_cast<std::size_t>(next)];
      slot = next;
    }
  }

  std::vector<int> next_;
  std::int64_t probes_ = 0;
};

struct Layout {
  int slots = 0;
  std::vector<int> name_slots;  // by field
  std::vector<int> key_slots;
  double name_probes = 0;  // on average
  double key_probes = 0;

  double probes() const { return name_probes + key_probes; }
};

Layout lay_out(const std::vector<Field>& fields, int slots) {
  SlotTable names{slots};
  SlotTable keys{slots};
  Layout layout;
  layout.slots = slots;
  for (const Field& field : fields) {
    layout.name_slots.push_back(names.take(fdl::name_hash(field.name.c_str(), slots - 1)));
    layout.key_slots.push_back(keys.take(fdl::key_hash(field.key(), slots - 1, slots)));
  }
  const auto count = static_cast<double>(fields.size());
  layout.name_probes = static_cast<double>(names.probes()) / count;
  layout.key_probes = static_cast<double>(keys.probes()) / count;
  return layout;
}

// The hashes are plain sums, whose spread depends on the names and numbers: sizes are tried, not computed. Only powers
// of two make a mask without holes.
Layout best_layout(const std::vector<Field>& fields) {
  const auto smallest = static_cast<std::int64_t>(std::bit_ceil(fields.size()));
  const std::int64_t largest = std::max(smallest, std::min(smallest * kSlotsPerField, kHighestSum));
  std::vector<Layout> layouts;
  for (std::int64_t slots = smallest; slots <= largest; slots *= 2) {
    layouts.push_back(lay_out(fields, static_cast<int>(slots)));
    if (layouts.back().probes() <= kGoodProbes) return std::move(layouts.back());
  }
  const auto fewer_probes = [](const Layout& a, const Layout& b) { return a.probes() < b.probes(); };
  const double best = std::min_element(layouts.begin(), layouts.end(), fewer_probes)->probes();
  const auto near_best = [best](const Layout& layout) { return layout.probes() <= kNearBest * best; };
  return std::move(*std::find_if(layouts.begin(), layouts.end(), near_best));
}

bool by_key(const Field& a, const Field& b) { return a.key() < b.key(); }

template <class T>
void append(std::string& bytes, const std::vector<T>& records) {
  bytes.append(reinterpret_cast<const char*>(records.data()), records.size() * sizeof(T));
}

std::string image_of(const std::vector<Field>& fields, const Layout& layout) {
  const fdl::FileHeader header{fdl::kMagic, layout.slots, 0};
  std::vector<fdl::NameRecord> names(static_cast<std::size_t>(layout.slots));
  std::vector<fdl::KeyRecord> keys(names.size(), fdl::KeyRecord{0, fdl::kNoName});
  for (std::size_t at = 0; at < fields.size(); ++at) {
    const Field& field = fields[at];
    fdl::NameRecord& name = names[static_cast<std::size_t>(layout.name_slots[at])];
    std::memcpy(name.name, field.name.data(), field.name.size());
    name.key = field.key();
    keys[static_cast<std::size_t>(layout.key_slots[at])] = {field.key(), layout.name_slots[at]};
  }
  std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
  append(bytes, names);
  append(bytes, keys);
  return bytes;
}

template <class T>
std::vector<T> records_at(const std::string& bytes, std::size_t at, std::size_t count) {
  std::vector<T> records(count);
  std::memcpy(records.data(), bytes.data() + at, count * sizeof(T));
  return records;
}

// The number of slots, of which the whole file is there.
std::size_t checked_slots(const std::string& bytes) {
  fdl::FileHeader header{};
  if (bytes.size() < sizeof header) throw std::runtime_error("cut off within the header");
  std::memcpy(&header, bytes.data(), sizeof header);
  if (header.magic != fdl::kMagic)
    throw std::runtime_error("no field table file: magic " + std::to_string(header.magic) + ", expected 8888");
  if (header.slots <= 0) throw std::runtime_error("damaged: " + std::to_string(header.slots) + " slots");
  const auto slots = static_cast<std::size_t>(header.slots);
  const std::size_t size = sizeof header + slots * (sizeof(fdl::NameRecord) + sizeof(fdl::KeyRecord));
  if (bytes.size() != size)
    throw std::runtime_error("damaged: " + std::to_string(slots) + " slots make " + std::to_string(size) +
                             " bytes, the file has " + std::to_string(bytes.size()));
  return slots;
}

Field field_of(const fdl::NameRecord& record) {
  const std::string name(record.name, strnlen(record.name, fdl::kNameSize));
  if (const std::string fault = fault_of_name(name); !fault.empty())
    throw std::runtime_error("damaged: " + fault + ", found \"" + name + '"');
  const fb::FieldKey key{record.key};
  Field field{name, key.type(), key.number()};
  if (!fb::type_known(field.type) || field.key() != record.key)
    throw std::runtime_error("damaged: " + name + " has " + std::to_string(record.key) + ", which is no key");
  return field;
}

}  // namespace

FdlImage compile_fields(std::vector<Field> fields) {
  if (fields.empty()) throw std::runtime_error("a field table without a field");
  std::sort(fields.begin(), fields.end(), by_key);
  const Layout layout = best_layout(fields);
  return {image_of(fields, layout), layout.slots, layout.name_probes, layout.key_probes};
}

std::vector<Field> fields_of_image(const std::string& bytes) {
  const std::size_t slots = checked_slots(bytes);
  const auto names = records_at<fdl::NameRecord>(bytes, sizeof(fdl::FileHeader), slots);
  const auto keys = records_at<fdl::KeyRecord>(bytes, sizeof(fdl::FileHeader) + slots * sizeof(fdl::NameRecord), slots);

  std::vector<bool> reached(slots);
  for (const fdl::KeyRecord& record : keys) {
    if (record.name == fdl::kNoName) continue;
    const auto name = static_cast<std::size_t>(record.name);
    if (record.name < 0 || name >= slots || names[name].key != record.key)
      throw std::runtime_error("damaged: key " + std::to_string(record.key) + " leads to no name of its own");
    reached[name] = true;
  }
  std::vector<Field> fields;
  for (std::size_t slot = 0; slot < slots; ++slot) {
    if (names[slot].name[0] == '\0') continue;
    fields.push_back(field_of(names[slot]));
    if (!reached[slot]) throw std::runtime_error("damaged: no key leads to " + fields.back().name);
  }
  std::sort(fields.begin(), fields.end(), by_key);
  return fields;
}

}  // namespace vxa::tools
