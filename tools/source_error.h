// Trouble in a text that a compiler reads: where it is and what was expected there.
#pragma once

#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace vxa::tools {

struct SourceError {
  int line;    // from 1
  int column;  // from 1, in bytes
  std::string text;
};

// All that is wrong with one text, in the order of its lines.
class SourceErrors : public std::exception {
 public:
  explicit SourceErrors(std::vector<SourceError> errors) : errors_(std::move(errors)) {}

  const std::vector<SourceError>& all() const { return errors_; }
  const char* what() const noexcept override { return "the text has errors"; }

  // A line for each, as "path:line:column: text".
  std::string report(const std::string& path) const {
    std::string lines;
    for (const SourceError& error : errors_)
      lines += path + ':' + std::to_string(error.line) + ':' + std::to_string(error.column) + ": " + error.text + '\n';
    return lines;
  }

 private:
  std::vector<SourceError> errors_;
};

}  // namespace vxa::tools
