#include "bench/sample_event.hpp"

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/StaticValues.hpp"

namespace harvelstone::bench {

namespace {

Dictionary recordOf(const SampleEvent& event) {
    return {{StaticValues::PARAM_VT_TZ(), BSUtil::getCurrentDateString()},
            {StaticValues::PARAM_TYPE(), event.type},
            {StaticValues::PARAM_NAME(), event.name},
            {StaticValues::PARAM_VALUE(), event.value}};
}

}  // namespace

SampleEvent sampleEvent() {
    SampleEvent event{"button", "put into the basket", "https://shop.example.com/women/shoes/boots/1234?size=39&"};
    const auto size = platform::jsonText(recordOf(event)).size();
    event.value.append(sampleEventSize - size, 'v');
    return event;
}

Dictionary sampleEventRecord() { return recordOf(sampleEvent()); }

std::string sampleEventText() { return platform::jsonText(sampleEventRecord()); }

}  // namespace harvelstone::bench
