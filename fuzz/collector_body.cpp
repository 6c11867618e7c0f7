// Any bytes as the body of an upload, decoded by the collector. The first byte says which layers the rest comes in:
// those that have checksums of their own are not to be guessed.

#include <string>
#include <string_view>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/HV_GZIP.hpp"
#include "harvelstone/transmit/percent_encoding.hpp"

#include "fuzz/require.hpp"
#include "tools/body_decoding.hpp"

namespace harvelstone::fuzz {
namespace {

constexpr tools::BodyLimits limits{.body = 8192, .inflated = 65536};

std::string bodyOf(std::string_view input) {
    const auto rest = input.substr(1);
    switch (input.front()) {
        case 'e':
            return HV_GZIP().gzippedData(rest);  // percent-encoded text
        case 'j':
            return HV_GZIP().gzippedData(percentEncoded(rest));  // JSON
        default:
            return std::string(rest);  // the body itself
    }
}

tools::BodyDecoding decode(std::string_view body) {
    auto decoding = tools::decodeBody(body, limits);
    require(decoding.body.has_value() == decoding.refusal.empty(), "a body is decoded, or refused with a reason");
    require(decoding.refusal.find('\n') == std::string::npos, "a reason is one line");
    return decoding;
}

void encodeAndDecodeAgain(const Dictionary& document) {
    const auto encoded = percentEncoded(platform::jsonText(document));
    auto body = HV_GZIP().gzippedData(encoded);
    if (body.size() >= limits.body || encoded.size() > limits.inflated) return;
    const auto again = decode(body).body;
    require(again && again->document == document, "a document comes back from its encoding");
    body.push_back('\0');
    require(!decode(body).body, "a body with something behind it is refused");
    body.resize(body.size() - 2);
    require(!decode(body).body, "a body that is cut off is refused");
}

}  // namespace
}  // namespace harvelstone::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harvelstone::fuzz;
    if (size == 0) return 0;
    const auto body = bodyOf(textOf(data, size));
    const auto decoded = decode(body).body;
    if (!decoded) return 0;
    require(decoded->gzipBytes == body.size() && body.size() <= limits.body, "no body over the limit is decoded");
    require(decoded->encodedBytes <= limits.inflated, "no body that inflates beyond the limit is decoded");
    require(decoded->json.size() <= decoded->encodedBytes, "percent-decoding makes a text no longer");
    encodeAndDecodeAgain(decoded->document);
    return 0;
}
