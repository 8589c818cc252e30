#include "wire/numberslots.h"

#if defined(__x86_64__)
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

bool can_convert_number_blocks() { return __builtin_cpu_supports("avx512bw"); }

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
