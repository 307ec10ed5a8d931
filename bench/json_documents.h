#pragma once

// The two JSON documents of the JSON benchmarks, as text: a keystore cipher record as EncryptData
// writes it, and a mixed document of about 1 MiB (objects, arrays, strings with escapes and
// non-ASCII text, integers, reals, booleans and nulls).

#include <string>

namespace qvbench {

const std::string& CipherRecordJson();
const std::string& MixedDocumentJson();

}  // namespace qvbench
