#pragma once

// zkJson writers: turn a zkJson::Value into JSON text.

#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/zkjson_value.h>

#include <string>

namespace zkJson {

// Writer is the interface of every writer: write returns the text of `root`.
class QVCS_EXPORT Writer {
 public:
  virtual ~Writer();
  virtual std::string write(const Value& root) = 0;
};

// WriterOptions: `spacedSeparator` writes ": " between a member name and its value instead of
// ":" (the date and binary forms stay as they are); `endingLineFeed` ends the text with "\n", as
// the serialized records expect.
struct WriterOptions {
  bool spacedSeparator = false;
  bool endingLineFeed = true;
};

// FastWriter writes one line without white space: members in ascending byte order of their
// names, integers in decimal, reals as printf "%.16g" would in the "C" locale whatever the
// process locale is, dates as {"$date":<milliseconds>} and binaries as
// {"$binary":"<base64>", "$type":"00"} (the blank after that comma is deliberate and kept for
// compatibility). Comments are not written.
//  - Strings: '"', '\\' and control characters are escaped (\b \f \n \r \t, others \u00xx);
//    every other byte is copied as it is, so a string that is not valid UTF-8 comes out as the
//    same bytes, which the default-mode reader takes back unchanged (strict mode refuses them).
//  - Reals that are not finite: NaN as null, infinities as 1e+9999 and -1e+9999, which the
//    reader reads back as infinities.
//  - A real with an integral value below 1e16 has no fraction in "%.16g" and reads back as an
//    integer; only 16 significant digits are kept.
class QVCS_EXPORT FastWriter : public Writer {
 public:
  FastWriter();
  explicit FastWriter(const WriterOptions& options);

  // enableYAMLCompatibility turns on the spaced separator; omitEndingLineFeed drops the "\n".
  void enableYAMLCompatibility();
  void omitEndingLineFeed();

  std::string write(const Value& root) override;
  // writeTo appends the text of `root` to `out`, for callers that reuse a buffer.
  void writeTo(const Value& root, std::string& out) const;

 private:
  WriterOptions options_;
};

}  // namespace zkJson
