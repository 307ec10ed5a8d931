#pragma once

// Texts kept in files, as audit, rewrap --in-place and key retire|destroy --unless-used-in read
// them: every path given, directories walked in name order; a file holds one text, or one text
// per line.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qvcrypto {

struct FileText {
  std::string file;
  std::size_t line = 0;    // 1-based
  std::size_t offset = 0;  // of the text in the file's content
  std::string text;        // without the white space around it
};

// ListFiles returns the regular files of `paths`, each directory replaced by the regular files
// beneath it in name order. Symbolic links are listed as they are, never followed, so that
// ReadWholeFile names them. Exit 3 (naming it) for a path that does not exist or cannot be walked.
std::vector<std::string> ListFiles(const std::vector<std::string>& paths);

// ReadWholeFile returns the file's bytes; exit 3 naming it when it is a symbolic link (a file
// replaced in place would replace the link, not what it points to), cannot be read or is larger
// than the tool reads (64 MiB).
std::string ReadWholeFile(const std::string& file);

// TextsOf returns the texts of one file's content: each line that is not blank when `lines`,
// else the whole content as one text (line 1; none for a blank file).
std::vector<FileText> TextsOf(const std::string& file, const std::string& content, bool lines);

// KeyUse is what --unless-used-in looks for: the keystore texts and HMAC records made with one
// version of a key (any version for 0; never the built-in demo key's), and the files they are in.
struct KeyUse {
  std::size_t texts = 0;
  std::vector<std::string> files;
};
KeyUse FindKeyUse(const std::vector<std::string>& paths, const std::string& name, std::int32_t version);

}  // namespace qvcrypto
