// Taking uploads: decode, report, choose the answer. Runs on the threads of the collector's connections.

#include "tools/reception.hpp"

#include <fmt/format.h>

#include "harvelstone/platform/Clock.hpp"

namespace harvelstone::tools {

namespace {

constexpr std::size_t bodyStartBytes = 256;

std::string hexadecimal(std::string_view bytes) {
    std::string digits;
    for (const char byte : bytes) digits += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    return digits;
}

Exchange exchangeFor(RequestHead head, std::string_view body) {
    Exchange exchange;
    exchange.arrived = platform::SystemClock().now();
    exchange.head = std::move(head);
    exchange.sizes.gzip = body.size();
    return exchange;
}

GivenReply ownReply(int status, const std::string& line) {
    Reply reply;
    reply.status = status;
    reply.body = line + "\n";
    return {std::move(reply), ReplySource::collector};
}

}  // namespace

Reception::Reception(BodyLimits limits, std::vector<Reply> replies, CollectorEvents events, Inspection& inspection)
    : limits_(limits), script_(std::move(replies)), events_(std::move(events)), inspection_(inspection) {}

UploadAnswer Reception::take(RequestHead head, std::string_view body) {
    auto exchange = exchangeFor(std::move(head), body);
    auto decoding = decodeBody(body, limits_);
    if (!decoding.body) return refuse(std::move(exchange), body, decoding.refusal);

    exchange.sizes = {decoding.body->gzipBytes, decoding.body->encodedBytes, decoding.body->json.size()};
    exchange.json = decoding.body->json;
    const std::lock_guard lock(mutex_);
    UploadAnswer answer;
    answer.given = replyTo(*decoding.body);
    if (answer.given.source == ReplySource::collector) answer.contentType = "text/plain";
    answer.number = inspection_.add(std::move(exchange));
    return answer;
}

GivenReply Reception::replyTo(const DecodedBody& body) {
    if (events_.received && !events_.received(body)) return ownReply(500, "the document could not be kept");
    if (auto reply = inspection_.takeMisbehaviour()) return {*std::move(reply), ReplySource::misbehaviour};
    return {script_.next(), ReplySource::script};
}

UploadAnswer Reception::refuse(RequestHead head, std::string_view body, const std::string& reason) {
    return refuse(exchangeFor(std::move(head), body), body, reason);
}

UploadAnswer Reception::refuse(Exchange exchange, std::string_view body, const std::string& reason) {
    exchange.refusal = reason;
    exchange.bodyStart = hexadecimal(body.substr(0, bodyStartBytes));
    const std::lock_guard lock(mutex_);
    if (events_.refused) events_.refused(reason);
    return {inspection_.add(std::move(exchange)), ownReply(400, reason), "text/plain"};
}

void Reception::answered(const UploadAnswer& answer, double milliseconds) {
    auto given = answer.given;
    given.milliseconds = milliseconds;
    inspection_.answered(answer.number, std::move(given));
}

}  // namespace harvelstone::tools
