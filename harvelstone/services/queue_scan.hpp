#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/ByteRanges.hpp"
#include "harvelstone/services/ByteSource.hpp"
#include "harvelstone/services/queue_format.hpp"

namespace harvelstone {

/// A stretch of a queue file.
struct QueuePiece {
    enum class Kind {
        header,
        record,    ///< a frame whose payload should be a JSON object
        consumed,  ///< a frame that says what was consumed
        torn,      ///< what a write that never ended left: normal, nothing acknowledged is lost with it
        damaged,   ///< whatever else is no piece; as long as it can be
        end,       ///< nothing, the bytes end here
    };
    Kind kind = Kind::end;
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::string_view payload;  ///< of a frame; valid until the source is read again
};

/// Cuts the bytes of a queue file into pieces, one after another. Defined for any bytes; the time it takes grows with
/// their number, the memory does not.
class QueueScanner {
  public:
    enum class Check {
        payloads,  ///< a record counts only if its checksum fits
        heads,     ///< a record's checksum is not computed: enough to find what is consumed
    };
    QueueScanner(ByteSource& source, Check check) : source_(source), check_(check) {}

    void seek(std::uint64_t position) { position_ = position; }
    std::uint64_t position() const { return position_; }

    /// The next piece. The error is the machine's; the position then stays.
    platform::Result<QueuePiece> next();

  private:
    platform::Result<QueuePiece> pieceAt(std::uint64_t position);
    platform::Result<std::optional<QueuePiece>> frameAt(std::uint64_t position);
    platform::Result<std::string_view> payloadAt(std::uint64_t position, std::size_t size);
    platform::Result<QueuePiece> gapAt(std::uint64_t position);
    platform::Result<std::uint64_t> markerBehind(std::uint64_t position);
    platform::Result<bool> isTorn(std::uint64_t begin, std::uint64_t end);
    platform::Result<bool> isZeroToTheEnd(std::uint64_t position);

    ByteSource& source_;
    Check check_;
    std::uint64_t position_ = 0;
};

/// What stands in a queue file apart from its records.
struct QueueSurvey {
    std::optional<queue_format::QueueHeader> header;  ///< absent without a sound one
    ByteRanges consumed;
    std::uint64_t end = 0;   ///< behind the last piece that is not torn; a later survey goes on from here
    std::uint64_t size = 0;  ///< where the bytes ended
    bool isDamaged = false;
    bool hasSoundPiece = false;

    /// Bytes that hold nothing of ours.
    bool isForeign() const { return isDamaged && !hasSoundPiece; }
};

/// Goes through the bytes from `survey.end` on.
platform::Result<void> surveyQueue(ByteSource& source, QueueSurvey& survey);

/// How many records a queue file holds and has held. A record is a sound frame of its kind.
struct QueueCounts {
    std::optional<queue_format::QueueHeader> header;  ///< absent without a sound one
    std::uint64_t size = 0;                           ///< of the file
    std::uint64_t consumed = 0;                       ///< as the file says it, since it was made
    std::uint64_t unread = 0;
    std::uint64_t damaged = 0;  ///< stretches, since the file was made

    friend bool operator==(const QueueCounts&, const QueueCounts&) = default;
};

/// Counts the bytes from the beginning. What is claimed is neither consumed nor unread.
platform::Result<QueueCounts> countQueue(ByteSource& source, const ByteRanges& claimed);

/// The record in a frame's payload; absent when it is no JSON object.
std::optional<Dictionary> readRecord(std::string_view payload);

/// All that can be read from a queue file, for tools: nothing is changed, nothing is consumed.
struct QueueContents {
    struct Damage {
        std::uint64_t offset = 0;
        std::uint64_t bytes = 0;
        friend bool operator==(const Damage&, const Damage&) = default;
    };
    std::vector<Dictionary> unread;
    std::vector<Damage> damaged;
    bool isForeign = false;  ///< no queue file; the whole of it is the one damage
    QueueCounts counts;
};

QueueContents readQueueContents(std::span<const std::byte> bytes);
platform::Result<QueueContents> readQueueContents(platform::File& file);

}  // namespace harvelstone
