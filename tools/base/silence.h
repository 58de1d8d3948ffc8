// What the layer below prints, kept from users.
#pragma once

namespace tools {

// As long as one lives, nothing reaches standard output and standard error: the layer tells there
// what it does. With `isVerbose` everything does.
class Silence {
  public:
    explicit Silence(bool isVerbose);
    ~Silence();
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

  private:
    int saved_[2] = {-1, -1}; // of standard output and standard error
};

} // namespace tools
