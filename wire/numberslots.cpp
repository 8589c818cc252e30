#include "wire/numberslots.h"

#if defined(__x86_64__)
#include <cpuid.h>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"  // gcc 12 warns of its own header
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif
#endif

namespace vxa::codec {

#if defined(__x86_64__)

namespace {

// The processor has AVX-512 with byte operations, and the system keeps its registers over a switch of context.
bool has_avx512bw() {
  constexpr unsigned kXsaveInUse = 1u << 27;                     // leaf 1, ecx
  constexpr unsigned kAvx512f = 1u << 16, kAvx512bw = 1u << 30;  // leaf 7, ebx
  constexpr unsigned kKeptRegisters = 0xE6;                      // SSE, AVX, and the three parts of AVX-512
  unsigned a = 0, b = 0, c = 0, d = 0;
  if (!__get_cpuid(1, &a, &b, &c, &d) || !(c & kXsaveInUse)) return false;
  unsigned kept = 0;
  __asm__("xgetbv" : "=a"(kept), "=d"(d) : "c"(0));
  if ((kept & kKeptRegisters) != kKeptRegisters) return false;
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & kAvx512f) && (b & kAvx512bw);
}

}  // namespace

bool can_convert_number_blocks() {
  static const bool can = has_avx512bw();
  return can;
}

// Eight slots are sixteen 32-bit lanes, keys in the even ones. A slot's type is moved into its value's lane, where it
// selects the shift; a key's lane is left with type 0, which shifts by nothing.
__attribute__((target("avx512f,avx512bw"))) std::int64_t convert_number_blocks(To to, const char* src, char* dst,
                                                                               std::int64_t room) {
  const __m512i byte_order =
      _mm512_broadcast_i32x4(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
  const __m512i unused_bits = _mm512_broadcast_i32x4(_mm_setr_epi8(0, 24, 16, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
  const __m512i one_in_values = _mm512_set1_epi64(std::int64_t{1} << 32);
  const __m512i most = _mm512_set1_epi32(fb::kFloat - 1);

  std::int64_t at = 0;
  for (; room - at >= kNumberBlock; at += kNumberBlock) {
    const __m512i source = _mm512_loadu_si512(src + at);
    const __m512i swapped = _mm512_shuffle_epi8(source, byte_order);
    const __m512i keys = to == To::kWire ? source : swapped;
    const __m512i types = _mm512_slli_epi64(_mm512_srli_epi32(keys, 26), 32);
    const __m512i converted = _mm512_srlv_epi32(swapped, _mm512_shuffle_epi8(unused_bits, types));
    const unsigned others = _mm512_cmpgt_epu32_mask(_mm512_sub_epi32(types, one_in_values), most);
    if (others != 0) {
      const int numbers = std::countr_zero(others) / 2;
      _mm512_mask_storeu_epi64(dst + at, static_cast<__mmask8>((1 << numbers) - 1), converted);
      return at + std::int64_t{fb::kMinimumSlot} * numbers;
    }
    _mm512_storeu_si512(dst + at, converted);
  }
  return at;
}

#else

bool can_convert_number_blocks() { return false; }

std::int64_t convert_number_blocks(To, const char*, char*, std::int64_t) { return 0; }

#endif

}  // namespace vxa::codec
