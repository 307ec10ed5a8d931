// The vector base64 kernels: 12 bytes to 16 characters (and back) per SSSE3 step, 24 to 32 per
// AVX2 step. They are compiled for their instruction sets function by function, so the rest of
// the library keeps the baseline instruction set and these run only where the processor has them.

#include "primitives/base64_paths.h"

#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define QVCS_BASE64_VECTOR_PATHS 1
#endif

namespace QVCryptoService {

#ifdef QVCS_BASE64_VECTOR_PATHS

#define QVCS_TARGET_SSSE3 __attribute__((target("ssse3")))
#define QVCS_TARGET_AVX2 __attribute__((target("avx2")))

namespace {

// Encoding. Each 32-bit lane is loaded as the bytes b, a, c, b of one group a, b, c, so that its
// two 16-bit halves hold "ab" and "bc"; two multiplications move the four 6-bit fields into the
// lane's four bytes, first to last.
//
// A field's character is the field plus an offset that depends on its range: 0..25 'A', 26..51
// 'a' - 26, 52..61 '0' - 52, 62 '+' - 62, 63 '/' - 63. The offset's table index is the field
// minus 51 (saturated at 0), or 13 for the fields below 26.
QVCS_TARGET_SSSE3 __m128i EncodeLanes16(__m128i groups) {
  const __m128i high = _mm_mulhi_epu16(_mm_and_si128(groups, _mm_set1_epi32(0x0FC0FC00)), _mm_set1_epi32(0x04000040));
  const __m128i low = _mm_mullo_epi16(_mm_and_si128(groups, _mm_set1_epi32(0x003F03F0)), _mm_set1_epi32(0x01000010));
  const __m128i fields = _mm_or_si128(high, low);
  const __m128i below26 = _mm_cmpgt_epi8(_mm_set1_epi8(26), fields);
  const __m128i index =
      _mm_or_si128(_mm_subs_epu8(fields, _mm_set1_epi8(51)), _mm_and_si128(below26, _mm_set1_epi8(13)));
  const __m128i offsets = _mm_setr_epi8(71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 65, 0, 0);
  return _mm_add_epi8(fields, _mm_shuffle_epi8(offsets, index));
}

QVCS_TARGET_AVX2 __m256i EncodeLanes32(__m256i groups) {
  const __m256i high =
      _mm256_mulhi_epu16(_mm256_and_si256(groups, _mm256_set1_epi32(0x0FC0FC00)), _mm256_set1_epi32(0x04000040));
  const __m256i low =
      _mm256_mullo_epi16(_mm256_and_si256(groups, _mm256_set1_epi32(0x003F03F0)), _mm256_set1_epi32(0x01000010));
  const __m256i fields = _mm256_or_si256(high, low);
  const __m256i below26 = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), fields);
  const __m256i index =
      _mm256_or_si256(_mm256_subs_epu8(fields, _mm256_set1_epi8(51)), _mm256_and_si256(below26, _mm256_set1_epi8(13)));
  const __m256i offsets = _mm256_setr_epi8(71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 65, 0, 0,  //
                                           71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 65, 0, 0);
  return _mm256_add_epi8(fields, _mm256_shuffle_epi8(offsets, index));
}

// Decoding. A character is valid when the class of its low nibble is not among the classes its
// high nibble rules out. Low nibble classes: 0 | 1..9 | A | B, F | C..E. High nibbles: 2 takes
// B and F ('+', '/'), 3 takes 0..9 (digits), 4 and 6 take all but 0, 5 and 7 take 0..A
// (letters); every other high nibble takes nothing.
//
// A valid character's field is the character plus an offset chosen by its high nibble, with '/'
// moved to the index below '+': '/' +16, '+' +19, digits +4, capitals -65, small letters -71.
// Two multiply-adds then pack each lane's four fields into three bytes, last byte lowest.
QVCS_TARGET_SSSE3 bool DecodeLanes16(__m128i text, __m128i& packed) {
  const __m128i nibbleMask = _mm_set1_epi8(0x0F);
  const __m128i highNibbles = _mm_and_si128(_mm_srli_epi32(text, 4), nibbleMask);
  const __m128i lowClasses = _mm_shuffle_epi8(
      _mm_setr_epi8(0x01, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02, 0x04, 0x08, 0x10, 0x10, 0x10, 0x08),
      _mm_and_si128(text, nibbleMask));
  const __m128i ruledOut = _mm_shuffle_epi8(
      _mm_setr_epi8(0x1F, 0x1F, 0x17, 0x1C, 0x01, 0x18, 0x01, 0x18, 0x1F, 0x1F, 0x1F, 0x1F, 0x1F, 0x1F, 0x1F, 0x1F),
      highNibbles);
  const __m128i faults = _mm_and_si128(lowClasses, ruledOut);
  if (_mm_movemask_epi8(_mm_cmpeq_epi8(faults, _mm_setzero_si128())) != 0xFFFF) {
    return false;
  }
  const __m128i offsetIndex = _mm_add_epi8(highNibbles, _mm_cmpeq_epi8(text, _mm_set1_epi8('/')));
  const __m128i offsets =
      _mm_shuffle_epi8(_mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0), offsetIndex);
  const __m128i fields = _mm_add_epi8(text, offsets);
  const __m128i pairs = _mm_maddubs_epi16(fields, _mm_set1_epi32(0x01400140));
  const __m128i triples = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
  packed = _mm_shuffle_epi8(triples, _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
  return true;
}

QVCS_TARGET_AVX2 bool DecodeLanes32(__m256i text, __m256i& packed) {
  const __m256i nibbleMask = _mm256_set1_epi8(0x0F);
  const __m256i highNibbles = _mm256_and_si256(_mm256_srli_epi32(text, 4), nibbleMask);
  const __m256i lowClasses =
      _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(_mm_setr_epi8(0x01, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02,
                                                                    0x02, 0x02, 0x04, 0x08, 0x10, 0x10, 0x10, 0x08)),
                          _mm256_and_si256(text, nibbleMask));
  const __m256i ruledOut =
      _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(_mm_setr_epi8(0x1F, 0x1F, 0x17, 0x1C, 0x01, 0x18, 0x01, 0x18,
                                                                    0x1F, 0x1F, 0x1F, 0x1F, 0x1F, 0x1F, 0x1F, 0x1F)),
                          highNibbles);
  const __m256i faults = _mm256_and_si256(lowClasses, ruledOut);
  if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(faults, _mm256_setzero_si256())) != -1) {
    return false;
  }
  const __m256i offsetIndex = _mm256_add_epi8(highNibbles, _mm256_cmpeq_epi8(text, _mm256_set1_epi8('/')));
  const __m256i offsets = _mm256_shuffle_epi8(
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0)),
      offsetIndex);
  const __m256i fields = _mm256_add_epi8(text, offsets);
  const __m256i pairs = _mm256_maddubs_epi16(fields, _mm256_set1_epi32(0x01400140));
  const __m256i triples = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
  const __m256i lanes = _mm256_shuffle_epi8(
      triples, _mm256_broadcastsi128_si256(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
  // Each lane's twelve bytes, side by side.
  packed = _mm256_permutevar8x32_epi32(lanes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
  return true;
}

// Loads bytes b, a, c, b of each of the four groups that start at `data` (reads 16 bytes).
QVCS_TARGET_SSSE3 __m128i LoadGroups(const std::uint8_t* data) {
  return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data)),
                          _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
}

// Stores the twelve bytes at the front of `packed`.
QVCS_TARGET_SSSE3 void StoreTwelve(__m128i packed, std::uint8_t* out) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), packed);
  const int last = _mm_cvtsi128_si32(_mm_srli_si128(packed, 8));
  std::memcpy(out + 8, &last, 4);
}

}  // namespace

bool Base64PathRuns(Base64Path path) noexcept {
  __builtin_cpu_init();
  switch (path) {
    case Base64Path::kScalar:
      return true;
    case Base64Path::kSsse3:
      return __builtin_cpu_supports("ssse3");
    case Base64Path::kAvx2:
      return __builtin_cpu_supports("avx2");
  }
  return false;
}

QVCS_TARGET_SSSE3 std::size_t EncodeBase64Ssse3(const std::uint8_t* data, std::size_t size, char* out) noexcept {
  std::size_t consumed = 0;
  for (; consumed + 16 <= size; consumed += 12, out += 16) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), EncodeLanes16(LoadGroups(data + consumed)));
  }
  return consumed;
}

QVCS_TARGET_AVX2 std::size_t EncodeBase64Avx2(const std::uint8_t* data, std::size_t size, char* out) noexcept {
  const __m256i spread = _mm256_broadcastsi128_si256(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
  std::size_t consumed = 0;
  for (; consumed + 28 <= size; consumed += 24, out += 32) {
    const __m128i front = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + consumed));
    const __m128i back = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + consumed + 12));
    const __m256i groups = _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(front), back, 1), spread);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), EncodeLanes32(groups));
  }
  return consumed + EncodeBase64Ssse3(data + consumed, size - consumed, out);
}

QVCS_TARGET_SSSE3 std::size_t DecodeBase64Ssse3(const char* text, std::size_t size, std::uint8_t* out) noexcept {
  std::size_t consumed = 0;
  for (; consumed + 16 <= size; consumed += 16, out += 12) {
    __m128i packed;
    if (!DecodeLanes16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text + consumed)), packed)) {
      return kNotDecoded;
    }
    StoreTwelve(packed, out);
  }
  return consumed;
}

QVCS_TARGET_AVX2 std::size_t DecodeBase64Avx2(const char* text, std::size_t size, std::uint8_t* out) noexcept {
  std::size_t consumed = 0;
  for (; consumed + 32 <= size; consumed += 32, out += 24) {
    __m256i packed;
    if (!DecodeLanes32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + consumed)), packed)) {
      return kNotDecoded;
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(packed));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(packed, 1));
  }
  const std::size_t rest = DecodeBase64Ssse3(text + consumed, size - consumed, out);
  return rest == kNotDecoded ? kNotDecoded : consumed + rest;
}

#else

// Processors without these instruction sets run the scalar path only.
bool Base64PathRuns(Base64Path path) noexcept { return path == Base64Path::kScalar; }
std::size_t EncodeBase64Ssse3(const std::uint8_t*, std::size_t, char*) noexcept { return 0; }
std::size_t EncodeBase64Avx2(const std::uint8_t*, std::size_t, char*) noexcept { return 0; }
std::size_t DecodeBase64Ssse3(const char*, std::size_t, std::uint8_t*) noexcept { return 0; }
std::size_t DecodeBase64Avx2(const char*, std::size_t, std::uint8_t*) noexcept { return 0; }

#endif

}  // namespace QVCryptoService
