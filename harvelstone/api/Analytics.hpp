#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "harvelstone/document/Ledger.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// Where the library runs what belongs on the main thread (the removal of sent documents' files).
enum class MainQueueChoice {
    pumpedByHost,  ///< the host calls `Analytics::runMainQueue` from its own loop
    ownThread,     ///< a thread of the library's own, which is there only while there is work
};

/// The settings of an app. What is left empty keeps the value of the last start, or its default.
struct AnalyticsOptions {
    /// Where documents are uploaded to: an http or https address.
    std::optional<std::string> targetUri;
    /// A PEM file of the certificate authorities that vouch for the target, instead of the system's. One that cannot be
    /// read raises; it cannot stand beside an HTTP client of the host's own.
    std::optional<std::string> certificateAuthorities;
    std::optional<std::string> appKey;
    std::optional<std::string> appVersion;

    std::optional<std::string> advertisingId;
    std::optional<bool> advertisingIdAllowed;
    std::optional<std::string> vendorId;
    std::optional<std::string> userId;
    /// Goes into documents only if set here.
    std::optional<std::string> imei;

    /// Whether the user consents to uploads; granted until withdrawn. Without it records are kept but not sent.
    std::optional<bool> consent;
    /// A visit without activity for this long has ended. 30 minutes unless set; must be above zero.
    std::optional<std::chrono::seconds> visitTimeout;
    /// The number of days within which a visit counts as a return visit.
    std::optional<std::int64_t> returnVisitDays;

    /// Switches the debug log on or off.
    std::optional<bool> debug;
    /// Takes each line of the debug log, on the thread that logs it, which may be any and several at once. Standard
    /// error unless set. What it throws is dropped.
    std::function<void(std::string_view line)> debugLog;

    /// The folder under which "harvelstone/" is made. The user's Documents folder unless set.
    std::optional<std::string> documentsFolder;
    MainQueueChoice mainQueue = MainQueueChoice::ownThread;
    /// Parts of the machine that the host provides itself, for example its own HTTP client; the rest gets its default.
    platform::Platform platform;
};

/// What `Analytics::flush` achieved.
struct FlushReceipt {
    std::uint64_t documentsSent = 0;         ///< answered by the server
    std::uint64_t documentsStillStored = 0;  ///< waiting, the current visit's among them
    /// Documents given up, by reason: "transport_failed", "expired", "retries_exhausted", "no_conversion_data",
    /// "traffic_limit", "session_missing", "other_answered". Reasons that did not occur are left out.
    std::map<std::string, std::uint64_t> documentsDropped;
    /// Whether no upload was left under way when the deadline came.
    bool complete = false;
    /// What became of everything so far, as `Analytics::ledger` tells it.
    Ledger ledger;
};

/// The host app's face of the library.
///
///     harvelstone::AnalyticsOptions options;
///     options.targetUri = "https://collect.example.com/documents";
///     options.appKey = "shop";
///     harvelstone::Analytics::configure(options);
///     harvelstone::Analytics::startVisit();
///     harvelstone::Analytics::installReferrer({});  // there is none to wait for: else the first upload waits for 30 s
///     harvelstone::Analytics::page("home");
///     harvelstone::Analytics::send();
///
/// A host of each kind in under 20 lines (with a frame loop, with Asio, without a loop, with an HTTP client and a log
/// of its own, in C) is on the page [Threads and the main queue](docs/hosts.md).
///
/// Every operation may be called from any thread. A record is on disk when its operation returns; when the disk is full
/// or fails, it is kept in memory and written as soon as that works again. A bad argument raises
/// platform::InvalidArgumentException, whose reason says which and why, and records nothing; no other exception comes
/// from here, and none because the network is absent or the disk full. Nothing here waits for the network but `flush`.
///
/// A record is a Dictionary. Its keys are the texts of the StaticValues accessors, or the host's own.
class Analytics {
  public:
    Analytics() = delete;

    // ---- Settings ----

    /// Applies the options. The first call must come before any other operation if it sets the folder, the
    /// certificate authorities, the main queue, the log sink or the platform, because those are fixed from then on;
    /// setting one of them later raises. A main queue or a sync policy left at its default counts as not set, and one
    /// that is in force may be set again. Further calls change the other settings.
    static void configure(const AnalyticsOptions& options);
    /// The member profile, by names such as "mbr", "memberLvl", "gender", "age", "uvp1", "userId"; null clears
    /// a value: it is as on a fresh install.
    static void setProfile(const Dictionary& values);
    static void setConsent(bool granted);

    // ---- Visits ----

    /// The app came to the front: a new visit gets a new document, a continued one goes on in the newest.
    static void startVisit();
    /// The visit is over: the next start is a new visit.
    static void endVisit();
    /// Tells in the next document that the app was opened.
    static void appOpened();
    /// Brings profile, counters and attribution in the current document up to date.
    static void refreshDocument();

    // ---- Records, into the newest document ----

    /// A page was shown. Makes a complete page record of its name, the date and session of now, one page view, and the
    /// details, which win over these. An empty name raises.
    static void page(const std::string& name, const Dictionary& details = {});
    /// A page record of the host's own making. It gets the date of now unless it brings one. With fewer than five
    /// members, the date included, it is not complete and counts as progress (see below).
    static void pageRecord(const Dictionary& record);
    /// Progress on pages: seconds of the visit and page views to be added up. It reaches the server folded into one
    /// summary for each run between complete page records, if that run's page views do not sum to 0.
    static void pageProgress(double visitSeconds, std::int64_t pageViews);
    static void click(const Dictionary& record);
    /// Revenue. Marks it, so that the next visit starts with fresh source and campaign traces.
    static void revenue(const Dictionary& record);
    /// A push message was opened; a document carries one.
    static void pushOpened(const Dictionary& record);

    /// Remembers product and category for every goal from now on.
    static void setProduct(const std::string& code, std::optional<std::string> name = std::nullopt);
    static void setProductCategory(const std::string& code, std::optional<std::string> name = std::nullopt);
    /// A conversion. Raises when product or category were never set.
    static void goal(std::int64_t number, std::int64_t value);
    /// Events and campaigns stay in their queues on the device, where the host's own tools find them; they are not part
    /// of an upload, and go when they are older than the age limit of stored files.
    static void event(const Value& type, const Value& name, const Value& value);
    static void campaign(const Value& type, const Value& name, const Value& value, const Value& referrer);

    /// The store's install referrer has arrived: attribution values by their keys ("utm_source", "campaign", ...). Ends
    /// the wait that holds back the first upload for up to 30 seconds; call it with an empty record when there is none.
    static void installReferrer(const Dictionary& values);

    // ---- Sending ----

    /// Starts uploading what waits, oldest first, if nothing stands against it. Returns at once.
    static void send();
    /// Uploads one record at once, outside the queue. Without a network it is lost.
    static void sendClickImmediately(const Dictionary& record);
    static void sendGoalImmediately(const Dictionary& record);

    /// Sends and waits until no upload is under way or the deadline has passed. Then it reads the ledger, as `ledger`
    /// does, which the deadline does not bound. Do not call it from a task of the main queue.
    static FlushReceipt flush(std::chrono::milliseconds deadline);

    /// What became of every document and every record so far, earlier lives of the app included. Exact when nothing is
    /// under way; what other threads do meanwhile may be missing in part. Reads every queue file that is stored, and
    /// waits up to half a second for each that another process holds, so it is for tests and support, not for each
    /// frame.
    static Ledger ledger();

    /// Runs what is due on the main queue, for a host that pumps it; returns at once. Always on the same thread.
    static void runMainQueue();
};

}  // namespace harvelstone
