#pragma once

#include <string>
#include <string_view>

namespace VEXO::sharing {

/// Reads a JSON text from its beginning to its end, if it has the form in which JsonText
/// writes it: no blanks, the members of an object in order, and no second way to write a
/// string or a number.
///
/// Each function reads one item at the current position.  It returns false for anything
/// else, in particular for valid JSON of another form; the position is then not defined.
class JsonScanner {
 public:
  explicit JsonScanner(std::string_view text) : rest_(text) {}

  bool AtEnd() const { return rest_.empty(); }
  /// Reads this text.
  bool Skip(std::string_view text) {
    if (rest_.substr(0, text.size()) != text) return false;
    rest_.remove_prefix(text.size());
    return true;
  }
  /// Reads a boolean.
  bool Read(bool& value);
  /// Reads a number.
  bool Read(unsigned int& value);
  /// Reads a string.
  bool Read(std::string& value);
  /// Reads an object whose numbers are integers of fewer than 19 digits.
  ///
  /// @param[out] object  its text
  bool ReadObject(std::string_view& object);

 private:
  bool ReadString(std::string* value);
  bool ReadName(std::string_view& name);
  bool SkipValue(int depth);
  bool SkipObject(int depth);
  bool SkipArray(int depth);
  bool SkipInteger();

  std::string_view rest_;
};

}  // namespace VEXO::sharing
