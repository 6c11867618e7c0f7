#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "harvelstone/document/OutstandingWork.hpp"
#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/HarvelstonePostback.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/TinyMap.hpp"
#include "harvelstone/services/Tracker.hpp"

#include "tests/support/DocumentTest.hpp"

namespace harvelstone::testing {

inline constexpr const char* target = "http://collector.test/documents";

/// Hands each debug line to the test as it is logged, then to the log behind.
class WatchingLog final : public platform::Log {
  public:
    WatchingLog(std::shared_ptr<platform::Log> inner, std::function<void(std::string_view)> watch)
        : inner_(std::move(inner)), watch_(std::move(watch)) {}
    void platformLine(std::string_view line) noexcept override { inner_->platformLine(line); }
    void debugLine(std::string_view line) noexcept override {
        watch_(line);
        inner_->debugLine(line);
    }

  private:
    std::shared_ptr<platform::Log> inner_;
    std::function<void(std::string_view)> watch_;
};

/// What an app sets before its first start, and the end of the start-up hold.
inline void configureApp() {
    SessionManager::sharedInstance().configure({{"targetUri", target}, {"apVr", "3.1"}, {"ak", "shop"}});
}
inline void endHold() {
    ProfileManager::sharedInstance().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), true);
}

/// An app that is ready to send, with one pending document, of a new visit.
class SendingTest : public DocumentTest {
  protected:
    SendingTest() {
        configureApp();
        manager();
        endHold();
        machine.clock->advance(1);
        machine.log->clear();
    }

    // ---- Documents ----

    /// A second, third, ... document, of a new visit or of the one that goes on. Gives its id.
    std::string addNewVisit() {
        endVisit();
        return addContinuedVisit();
    }
    std::string addContinuedVisit() {
        manager().createDocument();
        machine.clock->advance(1);
        machine.log->clear();
        return pendingIds().back();
    }
    /// The first document is that of a continued visit instead.
    void makeHeadContinued() { changeSession(headId(), StaticValues::PARAM_VISIT_NEW(), "N"); }

    static std::string headId() { return pendingIds().front(); }
    static std::shared_ptr<NamedMap> document(const std::string& id) { return TinyMap::sharedInstance().get(id); }
    static std::shared_ptr<NamedMap> head() { return document(headId()); }
    static void changeSession(const std::string& id, const std::string& key, const Value& value) {
        auto session = section(*document(id), TrackType::TYPE_SESSION());
        session.insert_or_assign(key, value);
        document(id)->putDictionary(TrackType::TYPE_SESSION().typeValue(), session);
    }
    static void expire(const std::string& id) { changeSession(id, StaticValues::CREATE_TIME(), 0); }
    static std::optional<Value> attempts(const std::string& id) {
        return document(id)->get(StaticValues::RETRY_COUNT());
    }

    static void queue(const std::string& prefix, const Dictionary& record) { queueFor(headId(), prefix, record); }
    static void queueFor(const std::string& id, const std::string& prefix, const Dictionary& record) {
        QueueFile(prefix + id).add(record);
    }

    // ---- Sending ----

    /// The lines that the call logs.
    std::vector<std::string> linesOf(const std::function<void()>& call) {
        machine.log->clear();
        call();
        return machine.log->lines();
    }
    std::vector<std::string> linesOfAPass() {
        return linesOf([&] { manager().sendDocument(); });
    }
    void send() { manager().sendDocument(); }
    void answer(std::optional<std::string> body) { machine.http->answer(std::move(body)); }
    /// Lets the repeat that was asked for run, a second later.
    void repeat() {
        const auto queue = machine.workers->queues.back();
        queue->advance(1);
    }
    std::size_t sentCount() const { return machine.http->requests.size(); }
    /// What was uploaded last.
    Dictionary uploaded() const { return *machine.http->requests.back().document().dictionary(); }

    /// What a pass logs first about the list and its head.
    std::string listLine() const { return "documetNameList : " + nlohmann::json(pendingIds()).dump(); }
    static std::string idLine(const std::string& id) { return "DocumentManager.sendDocument(documentID) : " + id; }

    /// From now on the call is made at each line that starts so, before the line is written.
    void atLine(std::string start, std::function<void()> call) {
        platform::Platform::current().log = std::make_shared<WatchingLog>(
            machine.log, [start = std::move(start), call = std::move(call)](std::string_view line) {
                if (line.starts_with(start)) call();
            });
    }

    /// From now on the clock raises an exception of its own kind at each reading.
    static void breakClock() {
        platform::Platform::current().clock =
            std::make_shared<HookedClock>([]() -> double { throw std::runtime_error("no clock"); });
    }

    // ---- What is left to do ----

    static std::size_t uploadsUnderWay() { return OutstandingWork::count(OutstandingWork::Kind::upload); }
    static std::size_t removalsUnderWay() { return OutstandingWork::count(OutstandingWork::Kind::removal); }
};

}  // namespace harvelstone::testing
