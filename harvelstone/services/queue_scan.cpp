// Reading of queue files as bytes: cutting them into pieces, finding what is consumed, finding the next frame behind
// damage. Changes no file. Used by one thread at a time.

#include "harvelstone/services/queue_scan.hpp"

#include <algorithm>
#include <utility>

#include "harvelstone/platform/Json.hpp"

namespace harvelstone {

using platform::Result;
using queue_format::frameHeadSize;
using queue_format::frameMarker;
using queue_format::FrameType;
using queue_format::headerMagic;
using queue_format::headerSize;
using Kind = QueuePiece::Kind;

namespace {

/// How much of a payload is asked for first; then it is doubled, so that a length that promises much costs little.
constexpr std::size_t firstPayloadPart = 4096;

/// Not empty. Compares the bytes with their own neighbours, which is faster than looking at each.
bool isZero(std::string_view bytes) {
    return bytes.front() == '\0' && bytes.substr(1) == bytes.substr(0, bytes.size() - 1);
}

bool isBeginningOf(std::string_view text, std::string_view whole) {
    return text.substr(0, whole.size()) == whole.substr(0, text.size());
}

}  // namespace

Result<QueuePiece> QueueScanner::next() {
    auto piece = pieceAt(position_);
    if (!piece) return piece;
    // Damage that goes on is one piece, so that it is reported once.
    while (piece->kind == Kind::damaged) {
        auto more = pieceAt(piece->end);
        if (!more) return more;
        if (more->kind != Kind::damaged) break;
        piece->end = more->end;
    }
    position_ = piece->end;
    return piece;
}

Result<QueuePiece> QueueScanner::pieceAt(std::uint64_t position) {
    auto bytes = source_.at(position, std::max(headerSize, frameHeadSize));
    if (!bytes) return bytes.error();
    if (bytes->empty()) return QueuePiece{Kind::end, position, position, {}};
    if (position == 0 && queue_format::readHeader(*bytes)) return QueuePiece{Kind::header, 0, headerSize, {}};
    auto frame = frameAt(position);
    if (!frame) return frame.error();
    if (*frame) return **frame;
    return gapAt(position);
}

Result<std::optional<QueuePiece>> QueueScanner::frameAt(std::uint64_t position) {
    const std::optional<QueuePiece> none;
    auto bytes = source_.at(position, frameHeadSize);
    if (!bytes) return bytes.error();
    const auto head = queue_format::readFrameHead(*bytes);
    if (!head) return none;
    auto payload = payloadAt(position + frameHeadSize, head->payloadSize);
    if (!payload) return payload.error();
    if (payload->size() < head->payloadSize) return none;
    const bool isRecord = head->type == FrameType::record;
    const auto frameEnd = position + frameHeadSize + head->payloadSize;
    if (check_ == Check::payloads || !isRecord)
        if (queue_format::checksum(*payload) != head->payloadChecksum) return none;
    return std::optional(QueuePiece{isRecord ? Kind::record : Kind::consumed, position, frameEnd, *payload});
}

/// The payload, or less where the bytes end or a byte stands that no payload holds: the next frame's, then, behind a
/// frame that was never written to its end.
Result<std::string_view> QueueScanner::payloadAt(std::uint64_t position, std::size_t size) {
    std::size_t checked = 0;
    for (std::size_t part = std::min(size, firstPayloadPart);; part = std::min(size, 2 * part)) {
        auto bytes = source_.at(position, part);
        if (!bytes) return bytes;
        const auto payload = bytes->substr(0, size);
        const auto stop = payload.find(frameMarker.front(), checked);
        if (stop != std::string_view::npos) return payload.substr(0, stop);
        checked = payload.size();
        if (checked == size || checked < part) return payload;
    }
}

Result<QueuePiece> QueueScanner::gapAt(std::uint64_t position) {
    auto end = markerBehind(position);
    if (!end) return end.error();
    auto torn = isTorn(position, *end);
    if (!torn) return torn.error();
    return QueuePiece{*torn ? Kind::torn : Kind::damaged, position, *end, {}};
}

/// Where the next marker stands behind the position, or where the bytes end.
Result<std::uint64_t> QueueScanner::markerBehind(std::uint64_t position) {
    for (++position;;) {
        auto bytes = source_.at(position, frameMarker.size());
        if (!bytes) return bytes.error();
        if (bytes->size() < frameMarker.size()) return position + bytes->size();
        if (bytes->starts_with(frameMarker)) return position;
        const auto candidate = bytes->find(frameMarker.front(), 1);
        position += candidate == std::string_view::npos ? bytes->size() : candidate;
    }
}

Result<bool> QueueScanner::isTorn(std::uint64_t begin, std::uint64_t end) {
    const auto size = end - begin;
    auto bytes = source_.at(begin, headerSize);
    if (!bytes) return bytes.error();
    const auto start = bytes->substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(size, headerSize)));
    if (begin == 0 && size < headerSize && isBeginningOf(start, headerMagic)) return true;
    if (size < frameHeadSize && isBeginningOf(start, frameMarker)) return true;
    if (const auto head = queue_format::readFrameHead(start); head && frameHeadSize + head->payloadSize > size)
        return true;
    if (start.front() != '\0') return false;
    return isZeroToTheEnd(begin);
}

/// A loss of power can leave a file longer than what was written into it.
Result<bool> QueueScanner::isZeroToTheEnd(std::uint64_t position) {
    for (;;) {
        auto bytes = source_.at(position, 1);
        if (!bytes) return bytes.error();
        if (bytes->empty()) return true;
        if (!isZero(*bytes)) return false;
        position += bytes->size();
    }
}

Result<void> surveyQueue(ByteSource& source, QueueSurvey& survey) {
    QueueScanner scanner(source, QueueScanner::Check::heads);
    scanner.seek(survey.end);
    for (;;) {
        auto piece = scanner.next();
        if (!piece) return piece.error();
        if (piece->kind == Kind::consumed) {
            // A list that says nothing sensible is passed over: its records come again rather than not at all.
            if (auto ranges = queue_format::readConsumedPayload(piece->payload, piece->begin))
                survey.consumed.add(*ranges);
            survey.consumed.add(piece->begin, piece->end);  // the frame itself holds nothing to read
        }
        if (piece->kind == Kind::header) {
            auto bytes = source.at(0, headerSize);
            if (!bytes) return bytes.error();
            survey.header = queue_format::readHeader(*bytes);
            survey.consumed.add(0, headerSize);
        }
        survey.size = piece->end;
        if (piece->kind == Kind::end) return {};
        if (piece->kind == Kind::torn) continue;
        survey.end = piece->end;
        (piece->kind == Kind::damaged ? survey.isDamaged : survey.hasSoundPiece) = true;
    }
}

std::optional<Dictionary> readRecord(std::string_view payload) {
    auto value = platform::parseJson(payload, platform::storedJsonDepthLimit);
    if (!value || !value->dictionary()) return std::nullopt;
    return std::move(*value->dictionary());
}

namespace {

void addDamage(QueueContents& contents, const QueuePiece& piece) {
    auto& damaged = contents.damaged;
    if (!damaged.empty() && damaged.back().offset + damaged.back().bytes == piece.begin)
        damaged.back().bytes += piece.end - piece.begin;
    else
        damaged.push_back({piece.begin, piece.end - piece.begin});
}

/// Goes through the whole file; what is told of each piece is whether it is consumed.
template <typename Visit>
Result<QueueSurvey> visitPieces(ByteSource& source, QueueCounts& counts, Visit visit) {
    QueueSurvey survey;
    if (auto done = surveyQueue(source, survey); !done) return done.error();
    counts.header = survey.header;
    counts.size = survey.size;
    if (survey.header) counts.consumed = survey.header->records;
    if (survey.header) counts.damaged = survey.header->damaged;
    QueueScanner scanner(source, QueueScanner::Check::payloads);
    for (;;) {
        auto piece = scanner.next();
        if (!piece) return piece.error();
        if (piece->kind == Kind::end) return survey;
        const bool isConsumed = survey.consumed.contains(piece->begin);
        if (piece->kind == Kind::damaged) ++counts.damaged;
        if (piece->kind == Kind::record) ++(isConsumed ? counts.consumed : counts.unread);
        visit(*piece, isConsumed);
    }
}

Result<QueueContents> readContents(ByteSource& source) {
    QueueContents contents;
    const auto survey = visitPieces(source, contents.counts, [&](const QueuePiece& piece, bool isConsumed) {
        if (isConsumed) return;
        if (piece.kind == Kind::damaged) addDamage(contents, piece);
        if (piece.kind != Kind::record) return;
        if (auto record = readRecord(piece.payload))
            contents.unread.push_back(std::move(*record));
        else
            addDamage(contents, piece);
    });
    if (!survey) return survey.error();
    contents.isForeign = survey->isForeign();
    return contents;
}

}  // namespace

Result<QueueCounts> countQueue(ByteSource& source, const ByteRanges& claimed) {
    QueueCounts counts;
    const auto survey = visitPieces(source, counts, [&](const QueuePiece& piece, bool isConsumed) {
        if (piece.kind == Kind::record && !isConsumed && claimed.contains(piece.begin)) --counts.unread;
    });
    if (!survey) return survey.error();
    return counts;
}

QueueContents readQueueContents(std::span<const std::byte> bytes) {
    MemorySource source({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return *readContents(source);
}

Result<QueueContents> readQueueContents(platform::File& file) {
    FileSource source(file);
    return readContents(source);
}

}  // namespace harvelstone
