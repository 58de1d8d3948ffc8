// The grammar of personality files.
#pragma once

namespace vx {

// Holds the text of one personality file and parses it one property at a time. No index and no
// position is kept: every call starts where its caller says.
class PropertyParser {
  public:
    // Reads the file at `path`, printing what was read or why not (standard output). A file
    // whose size cannot be queried leaves no text; one that cannot be opened parses as empty.
    explicit PropertyParser(const char* path);
    // Copies `length` bytes of `buffer`.
    PropertyParser(const char* buffer, int length);
    virtual ~PropertyParser();
    PropertyParser(const PropertyParser&) = delete;
    PropertyParser& operator=(const PropertyParser&) = delete;

    // Parses the property at or after `pos` (null: the start of the text).
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

    // Where the property at or after `pos` (null: the start) begins, past blank lines and comments.
    [[nodiscard]] const char* skipBlank(const char* pos) const;

    // Folds all properties but "properties.file.crc32" into `*computedCrc` and stores that one's
    // hexadecimal value in `*storedCrc`; 32-bit values, either pointer may be null. Stops at the
    // first part of 256 bytes or more. Always returns -1, since every text ends.
    int getCrc(unsigned long* storedCrc, unsigned long* computedCrc) const;

  private:
    char* text_ = nullptr; // NUL-terminated, owned
};

} // namespace vx

// What a PropertiesHandle points to.
struct PropertiesHandleRecord {
    vx::PropertyParser* parser; // owned
};
