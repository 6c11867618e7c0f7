// The collector's scripted answers.

#include "tools/scripted_replies.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>

#include "harvelstone/platform/Json.hpp"

#include "tools/exit_codes.hpp"
#include "tools/json_lines.hpp"

namespace harvelstone::tools {

namespace {

constexpr double longestDelay = 3600;

// One word, spelled as each kind of file spells it.
constexpr std::array<std::string_view, 4> closeWords{"close", "close-without-answer", "close_without_answer",
                                                     "closeWithoutAnswer"};

std::string bodyText(const Value& body) {
    if (const auto* text = body.string()) return *text;
    return platform::jsonText(body);
}

}  // namespace

Reply replyFrom(const Dictionary& object) {
    Reply reply;
    for (const auto& [name, value] : object) {
        if (name == "status") {
            if (!value.isInteger() || value.integerValue() < 200 || value.integerValue() > 599) {
                throw WrongUse("\"status\" must be a whole number from 200 to 599");
            }
            reply.status = static_cast<int>(value.integerValue());
        } else if (name == "body") {
            if (!value.isNull()) reply.body = bodyText(value);
        } else if (name == "delay") {
            if (!value.isNumber() || value.doubleValue() < 0 || value.doubleValue() > longestDelay) {
                throw WrongUse("\"delay\" must be a number of seconds from 0 to 3600");
            }
            reply.delay = platform::Seconds(value.doubleValue());
        } else if (std::ranges::find(closeWords, name) != closeWords.end()) {
            if (!value.isBoolean()) throw WrongUse(fmt::format("\"{}\" must be true or false", name));
            reply.closesWithoutAnswer = *value.boolean();
        } else {
            throw WrongUse(fmt::format("\"{}\" is no member of a reply", name));
        }
    }
    return reply;
}

std::vector<Reply> parseReplies(std::string_view text, const std::string& file) {
    std::vector<Reply> replies;
    for (const auto& line : parseJsonLines(text, file)) {
        try {
            replies.push_back(replyFrom(line.object));
        } catch (const WrongUse& error) {
            throw WrongUse(fmt::format("{}: {}", line.place.text(), error.what()));
        }
    }
    return replies;
}

ReplyScript::ReplyScript(std::vector<Reply> replies) : replies_(std::move(replies)) {
    if (replies_.empty()) replies_.emplace_back();
}

Reply ReplyScript::next() {
    const std::lock_guard lock(mutex_);
    const auto index = std::min(position_, replies_.size() - 1);
    ++position_;
    return replies_[index];
}

}  // namespace harvelstone::tools
