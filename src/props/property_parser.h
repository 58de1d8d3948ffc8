// The grammar of personality files.
#pragma once

#include "common/heap.h"

#include <string_view>

namespace vx {

// One property of a text, as views into it.
struct Property {
    std::string_view key;
    std::string_view value;
};

class PropertyIndex;

// Holds the text of one personality file and parses it one property at a time. No index and no
// position is kept: every call starts where its caller says.
class PropertyParser : public OnHeap {
  public:
    // Reads the file at `path`, printing what was read or why not (standard output). A file
    // whose size cannot be queried leaves no text; one that cannot be opened parses as empty.
    explicit PropertyParser(const char* path);
    // Copies `length` bytes of `buffer`.
    PropertyParser(const char* buffer, int length);
    virtual ~PropertyParser();
    PropertyParser(const PropertyParser&) = delete;
    PropertyParser& operator=(const PropertyParser&) = delete;

    // Parses the property at or after `pos` (null: the start of the text). Returns the start of the
    // following property or the final NUL; null at the end of the text and at a malformed line,
    // whose parts before the fault are set.
    const char* parse(const char* pos, Property& property) const;
    // The same from the end of the key on.
    static const char* parseValue(const char* pos, std::string_view& value);

    // The same into buffers.
    //
    // `*keyLen` and `*valLen` are the capacities of the buffers, terminator included; any pointer
    // may be null, and a part without a length is not copied. A part that does not fit is cut and
    // its length becomes the size that it needs. A capacity of 0 or less copies nothing.
    // `*next`, where given, receives the start of the following property or the final NUL.
    //
    // Returns 0; -2 when a part was cut; -1 at the end of the text and at a malformed line, with
    // `*next` unwritten (the key buffer may then hold the malformed line's key).
    int parseLine(const char* pos, char* keyBuf, int* keyLen, char* valBuf, int* valLen,
                  const char** next) const;

    // The text, NUL-terminated; null where there is none.
    [[nodiscard]] const char* text() const { return text_.get(); }

    // True for the characters that keys are made of.
    [[nodiscard]] static bool isOfKey(char c);

    // Where the property at or after `pos` (null: the start) begins, past blank lines and comments.
    [[nodiscard]] const char* skipBlank(const char* pos) const;

    // Folds all properties but "properties.file.crc32" into `*computedCrc` and stores that one's
    // hexadecimal value in `*storedCrc`; 32-bit values, either pointer may be null. Stops at the
    // first part of 256 bytes or more. Always returns -1, since every text ends.
    int getCrc(unsigned long* storedCrc, unsigned long* computedCrc) const;

  private:
    Elements<char> text_; // NUL-terminated
};

} // namespace vx

// What a PropertiesHandle points to.
struct PropertiesHandleRecord : vx::OnHeap {
    explicit PropertiesHandleRecord(vx::PropertyParser* text) : parser(text) {}

    vx::PropertyParser* parser;         // owned
    vx::PropertyIndex* index = nullptr; // owned; null unless indexProperties made one
};
