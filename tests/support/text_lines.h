// tests/support/text_lines.h - a text taken apart into its lines, for tests
// that compare printed or generated text line by line.
#ifndef QBASN_TESTS_SUPPORT_TEXT_LINES_H
#define QBASN_TESTS_SUPPORT_TEXT_LINES_H

#include <sstream>
#include <string>
#include <vector>

namespace qb_test {

// lines_of: the lines of `text` without their '\n'; a last line without a
// newline counts, an empty text has none.
inline std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

}  // namespace qb_test

#endif
