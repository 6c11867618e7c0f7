#pragma once

#include <string>
#include <string_view>

namespace harvelstone::bench {

/// zlib with the library's settings and nothing around it: a gzip stream with one call, into a buffer that is large
/// enough. What fails raises std::runtime_error.
class ZlibAlone {
  public:
    explicit ZlibAlone(int level = 6) : level_(level) {}

    /// Valid until the next call.
    std::string_view compress(std::string_view bytes);

  private:
    int level_;
    std::string output_;
};

}  // namespace harvelstone::bench
