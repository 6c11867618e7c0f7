#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/document/DocumentManager.hpp"

#include "tests/simulation/Answer.hpp"
#include "tests/simulation/Fact.hpp"
#include "tests/simulation/PassModel.hpp"
#include "tests/simulation/Plan.hpp"
#include "tests/simulation/Scheduler.hpp"
#include "tests/simulation/SimulatedMachine.hpp"

namespace harvelstone::testing {

/// Looks at one life while it goes on, writes down what happens and judges each step as it is made: whether the list
/// changed at its ends only and by those who may, whether a document was sent or retired for a reason that held,
/// whether a file was deleted that might be. In a calm life it says in addition, before each pass, what the pass has to
/// do.
class Watch {
  public:
    Watch(const LifePlan& plan, const Legacy& before, Scheduler& scheduler, SimulatedClock& clock,
          MemoryFileSystem& disk);

    /// Prints everything that happens.
    bool traces = false;

    void note(Fact fact);
    void trace(const std::string& line);
    void violation(const std::string& what);
    const Facts& facts() const { return facts_; }
    Facts allFacts() const;  ///< those of the lives before, too
    /// The document that the running task's pass looks at; "" for none.
    const std::string& visiting() { return running().visiting; }
    const std::vector<std::string>& violations() const { return violations_; }
    std::uint64_t fingerprint() const { return fingerprint_; }

    // ---- What the running task is about ----

    enum class Activity {
        other,    ///< may create documents
        pass,     ///< may send and retire, too
        reply,    ///< the same, for the answer to an upload
        removal,  ///< may delete the files of a retired document
    };
    void begin(Activity activity);
    void beginReply(const std::string& documentId, const Answer& answer);
    void end();

    // ---- What happens ----

    void startsWith(const DiskImage& disk);
    void looked();  ///< at the pending list, after any change of turn and whenever it may have changed
    void read(double time);
    void logged(std::string_view line, bool isPlatformLine);
    void retired(const std::string& id, const std::string& fate);
    void uploading(const std::string& json);
    void dated(const std::string& path, double date);
    void removing(const std::string& path);
    void reading(const std::string& path);
    void removed(const std::string& path);
    void written(const std::string& path, std::string_view bytes);
    void truncating(const std::string& path, std::uint64_t size);
    void truncated(const std::string& path, std::uint64_t size);
    void failed(const DiskCall& call);

    /// The world as the model knows it.
    Conditions conditions;
    void setOnline(bool isOnline);
    void setConsent(bool hasConsent);
    bool hasFailures() const { return hasFailures_; }
    const std::vector<std::string>& pending() const { return pending_; }

  private:
    static constexpr double moment = 1e-3;  // seconds: what readings within one operation may differ by

    struct Running {
        Activity activity = Activity::other;
        std::size_t switchesBefore = 0;
        std::size_t headsBefore = 0;
        std::size_t momentBegan = 0;
        std::vector<double> readings = {};
        std::map<std::string, double> dates = {};  // of files, as it was told them
        std::string visiting = {};
        std::string repliedTo = {};
        std::optional<Answer> answer = {};
        std::optional<PassOutcome> expected = {};
        PassOutcome actual = {};
        std::vector<std::pair<std::string, bool>> changes = {};  // ids that it created (true) and retired (false)
    };
    Running& running() { return activities_[scheduler_.running().number()]; }
    std::vector<WaitingDocument> waiting();
    void expect(Running& running);
    static std::string fateByAnswer(const Running& reply, const std::string& head);
    bool isAtAnEdge() const;
    void apply(const Answer& answer);
    void takeNoteOfOwed(const std::vector<std::string>& now);
    void judgeFate(const std::string& id, const std::string& fate);
    void keepInMemory(const std::string& fileName, const DiskImage& disk);
    void judgeContent(const std::string& id, const Dictionary& document);
    bool wasRemoved(const std::string& fileName) const;

    const LifePlan plan_;
    const Facts& earlier_;
    Scheduler& scheduler_;
    SimulatedClock& clock_;
    MemoryFileSystem& disk_;

    Facts facts_;
    std::vector<std::string> violations_;
    std::uint64_t fingerprint_ = 14695981039346656037U;

    std::map<std::size_t, Running> activities_;  // by task
    std::shared_ptr<const DocumentNames> lookedAt_;
    std::vector<std::string> pending_;
    std::vector<std::string> owed_;   // not restored yet
    std::vector<std::string> heads_;  // every head that there was
    std::multiset<std::string> leftUnsaid_;
    std::vector<std::int64_t> beingCutOff_;
    std::set<std::string> inMemory_;  // ids whose maps this process has made or read
    std::map<std::string, WaitingDocument> keptInMemory_;
    std::size_t moment_ = 0;
    std::size_t offlineSince_ = 0;
    std::size_t refusedSince_ = 0;
    bool wasEverLimited_ = false;
    bool isStarting_ = true;
    bool hasFailures_ = false;  // of the disk, in this life
    bool mayBeDamaged_ = false;

    // Of all lives so far.
    std::set<std::string> retired_;
    std::set<std::string> removed_;
    std::map<std::string, std::size_t> visits_;
    std::map<std::string, std::int64_t> attempts_;
    std::map<std::string, std::map<std::string, std::multiset<std::int64_t>>> contents_;  // by document, of its uploads
};

}  // namespace harvelstone::testing
