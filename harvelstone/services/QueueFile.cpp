// Record queues as the component sees them: the checks on a record, and the scope around a pop. Reads and writes
// "NAME.Harvelstone" through QueueState. Any thread.

#include "harvelstone/services/QueueFile.hpp"

#include <algorithm>
#include <fmt/format.h>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/QueueState.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/queue_format.hpp"

namespace harvelstone {

using platform::InvalidArgumentException;

QueueFile::QueueFile(const std::string& queueName) : state_(QueueState::named(queueName)) {}

QueueFile::~QueueFile() = default;

void QueueFile::add(const Dictionary& record) {
    const bool isTooDeep = std::any_of(record.begin(), record.end(), [](const auto& member) {
        return nestingDepth(member.second) >= maximumNestingDepth;  // the record is one container more
    });
    if (isTooDeep) throw InvalidArgumentException("a record is nested too deep");
    const auto text = platform::jsonText(record);
    if (text.size() > queue_format::longestPayload)
        throw InvalidArgumentException(fmt::format("a record of {} bytes is too long, {} is the limit", text.size(),
                                                   queue_format::longestPayload));
    const StorageBatch scope;
    storage_batch::noteWrite();
    state_->add(queue_format::frame(queue_format::FrameType::record, text));
}

std::optional<Dictionary> QueueFile::pop() {
    const StorageBatch scope;
    return state_->pop(storage_batch::consume(state_));
}

std::optional<QueueCounts> QueueFile::count() const { return state_->count(); }

platform::Result<void> QueueFile::remove(const std::function<void(const QueueCounts&)>& beforeRemoval) {
    return state_->remove(beforeRemoval);
}

std::vector<std::string> QueueFile::namesInMemory() { return QueueState::namesInMemory(); }

}  // namespace harvelstone
