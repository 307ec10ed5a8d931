#pragma once

// The two JSON documents of the JSON benchmarks, as text: a keystore cipher record as EncryptData
// writes it, and a mixed document of about 1 MiB (objects, arrays, strings with escapes and
// non-ASCII text, integers, reals, booleans and nulls); and one object of 100000 members, its
// names in ascending or in descending order.

#include <string>

namespace qvbench {

const std::string& CipherRecordJson();
const std::string& MixedDocumentJson();
const std::string& ManyMembersJson(bool descending);

}  // namespace qvbench
