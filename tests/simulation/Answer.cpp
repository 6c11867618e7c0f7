// The answers of a server with moods, over a network with moods.

#include "tests/simulation/Answer.hpp"

#include <fmt/format.h>
#include <vector>

namespace harvelstone::testing {

namespace {

Answer saying(std::string body) {
    Answer answer;
    answer.body = std::move(body);
    return answer;
}

Answer none() {
    Answer answer;
    answer.status = 0;
    return answer;
}

Answer repeat(Random& random) {
    auto answer =
        saying(random.chance(0.3) ? R"({"retry":true,"visit_new_server_time":1479259999})" : R"({"retry":true})");
    answer.asksForRepeat = true;
    return answer;
}

Answer trafficLimit(Random& random) {
    const bool isExceeded = random.chance(0.6);
    auto answer = saying(fmt::format(R"({{"traffic_limit_exceeded":{}}})", isExceeded));
    answer.isTrafficLimitExceeded = isExceeded;
    return answer;
}

Answer permission(Random& random) {
    const bool isAllowed = random.chance(0.4);
    auto answer = saying(fmt::format(R"({{"send_allowed":{}}})", isAllowed));
    answer.isSendAllowed = isAllowed;
    return answer;
}

Answer wait(Random& random) {
    static const std::vector<double> waits{-5, 0, 0.5, 4, 60, 1800, 1e12};
    const auto seconds = random.pick(waits);
    auto answer = saying(fmt::format(R"({{"wait_seconds":{}}})", seconds));
    answer.waitSeconds = seconds;
    return answer;
}

/// Nothing that could be obeyed.
Answer rubbish(Random& random) {
    static const std::vector<std::string> bodies{
        "",
        "null",
        "[]",
        "17",
        "<html>busy</html>",
        "{\"retry\":tr",
        R"({"retry":"true","wait_seconds":"60","send_allowed":0,"traffic_limit_exceeded":1})",
        R"({"retry":1,"wait_seconds":[],"send_allowed":{},"traffic_limit_exceeded":null,"visit_new_server_time":null})",
        R"({"retry":false,"unknown":{"a":[1,2,3]}})"};
    return saying(random.pick(bodies));
}

Answer drawnKind(Random& random) {
    const auto kind = random.below(100);
    if (kind < 40) return saying("{}");
    if (kind < 55) return repeat(random);
    if (kind < 65) return none();
    if (kind < 78) return rubbish(random);
    if (kind < 84) return saying(fmt::format(R"({{"visit_new_server_time":{}}})", 1479259000 + random.below(1000)));
    if (kind < 88) return trafficLimit(random);
    if (kind < 92) return permission(random);
    if (kind < 97) return wait(random);
    auto answer = Answer::good();
    answer.raisesAtStart = true;
    return answer;
}

}  // namespace

Answer Answer::good() {
    auto answer = saying("{}");
    answer.latency = 0.05;
    return answer;
}

Answer Answer::drawn(Random& random) {
    static const std::vector<double> latencies{0, 0.001, 0.02, 0.3, 2, 29, 70};
    auto answer = drawnKind(random);
    answer.latency = random.pick(latencies);
    if (answer.body && random.chance(0.1)) answer.status = 503;
    return answer;
}

}  // namespace harvelstone::testing
