"""`harvelstone replay`: its own rules, and what each step does to the app that it plays."""

import json
import os
import time

import harness
from harness import (DONE, FAILED, NEW_VISIT, NO_HOLD, OFFLINE, ONLINE, SEND, SETTLE, START, WRONG_USE, run, step)

PAGE = {"PARAM_NAME": "cart"}
HOUR = 3600


class WrongScenario(harness.Case):
    def refuse(self, text):
        scenario = self.write("wrong.jsonl", text)
        ended = run("replay", scenario, "--target", "http://127.0.0.1:9/", "--documents", self.documents)
        self.assertEqual(ended.returncode, WRONG_USE)
        self.assertFalse(os.path.exists(self.documents))
        return ended.stderr.replace(scenario, "FILE")

    def test_is_refused_with_the_line_number_before_any_step_runs(self):
        self.assertEqual(self.refuse('{"do": "startSession"}\n\n# fly\n{"do": "fly"}\n'), 'FILE:4: "fly" is no step\n')
        self.assertEqual(self.refuse('{"do": "startSession"}\n{"do": "setGoal", "goal": 1}\n'), 'FILE:2: "value" is missing\n')
        self.assertEqual(self.refuse("startSession\n"), "FILE:1: the line is no JSON object\n")

    def test_that_cannot_be_read_is_wrong_use(self):
        for scenario in (self.path("none.jsonl"), self.folder):
            ended = run("replay", scenario, "--target", "http://127.0.0.1:9/", "--documents", self.documents)
            self.assertEqual(ended.returncode, WRONG_USE)
            self.assertTrue(ended.stderr.startswith(scenario + ": "), ended.stderr)


class Start(harness.Case):
    def test_happens_at_the_end_of_a_scenario_that_only_sets_something(self):
        for steps in ([], [step("configure", appKey="shop"), step("clock", advance=60), step("customPush"), step("appOpen")]):
            before = len(self.play(steps).pending)
            self.assertEqual(len(self.play(steps).pending), before + 1)

    def test_comes_after_the_settings_before_it(self):
        self.play([step("configure", PARAM_AK="shop"), step("useImei", on=True), step("configure", imei="12"), OFFLINE])
        document, = self.inspect()["documents"].values()
        self.assertEqual((document["session"]["app_key"], document["session"]["imei"]), ("shop", "12"))
        self.assertEqual(document["session"]["connection_type"], "none")

    def test_happens_once(self):
        played = self.play([step("wait", seconds=0), SETTLE, START, START])
        self.assertEqual(len(played.pending), 1)

    def test_that_raises_is_a_raise_of_the_step(self):
        played = self.play([step("configure", ak=None), START, START], code=FAILED)
        self.assertRegex(played.last_error, r"\A.*scenario\.jsonl:2: startSession raised: .*app_key")
        self.assertEqual(played.pending, [])

    def test_that_raises_at_the_end_names_the_file(self):
        played = self.play([step("configure", ak=None)], code=FAILED)
        self.assertRegex(played.last_error, r"\A.*scenario\.jsonl: the start raised: .*app_key")

    def test_that_raised_is_tried_again(self):
        played = self.play([step("configure", ak=None), step("expectRaise", step=START), step("configure", ak="shop"), START])
        self.assertEqual(len(played.pending), 1)


class Run(harness.Case):
    def test_ends_when_nothing_is_outstanding(self):
        replies = iter(['{"retry": true}'])
        server = self.server(lambda request: next(replies, "{}"))
        played = self.play([NO_HOLD, START, SEND], server.url)
        self.assertEqual([document["retry_count"] for document in server.documents()], [1, 2])
        self.assertEqual(played.receipt, {"sent": 1, "stillStored": 1, "dropped": {}})
        self.assertEqual(set(self.inspect()["documents"]), set(played.pending))

    def test_counts_what_it_did(self):
        replies = iter(['{"retry": true}'])
        server = self.server(lambda request: next(replies, "{}"))
        played = self.play([NO_HOLD, START, SEND, SETTLE, step("sendClickDataImmediately", record={}),
                            step("sendGoalDataImmediately", record={})], server.url)
        self.assertEqual(played.result["counts"],
                         {"steps": 6, "uploads": 4, "documentUploads": 2, "clickUploads": 1, "goalUploads": 1,
                          "documentsCreated": 2, "documentsRemoved": 1, "repeatsAskedFor": 1})

    def test_tells_why_documents_were_dropped(self):
        played = self.play([NO_HOLD, START, SEND])
        self.assertEqual(played.receipt["dropped"], {"transport_failed": 1})

    def test_without_json_prints_a_receipt_for_people(self):
        ended = run("replay", self.scenario([NO_HOLD, OFFLINE, START]), "--target", "http://127.0.0.1:9/", "--documents",
                    self.documents)
        self.assertEqual(ended.returncode, DONE)
        self.assertEqual(ended.stdout, "3 steps, 1 documents created, 0 uploads\ndocuments: 0 sent, 1 still stored\n")

    def test_a_step_that_raises_ends_it(self):
        played = self.play([START, step("putGoal"), *NEW_VISIT], code=FAILED)
        self.assertRegex(played.last_error, r"\A.*scenario\.jsonl:2: putGoal raised: .+")
        self.assertEqual(played.log[-1], played.last_error)
        self.assertEqual((played.result["counts"]["steps"], len(played.pending)), (1, 1))

    def test_the_debug_log_is_on_whatever_the_settings_say(self):
        played = self.play([step("configure", debug=False), OFFLINE, START, SEND])
        self.assertTrue(played.logged("DEBUG_HARVELSTONE_CONFIG : documentID --> "))
        document, = self.inspect()["documents"].values()
        self.assertIs(document["session"]["debug"], False)

    def test_without_a_log_file_the_debug_lines_go_nowhere(self):
        ended = run("replay", self.scenario([OFFLINE, START]), "--target", "http://127.0.0.1:9/", "--documents", self.documents)
        self.assertNotIn("DEBUG_HARVELSTONE", ended.stdout + ended.stderr)

    def test_the_log_is_of_this_run_only(self):
        self.play([OFFLINE, START])
        self.assertEqual(len(self.play([OFFLINE, START]).logged("DEBUG_HARVELSTONE_CONFIG : documentID --> ")), 1)

    def test_lines_of_the_log_are_as_they_are(self):
        played = self.play([START])
        self.assertIn("DEBUG_HARVELSTONE_CONFIG : getSessionConfigJson called. ", played.log)

    def test_platform_lines_go_to_standard_error(self):
        self.assertIn("=============== start ====================", self.play([START]).errors)

    def test_a_log_that_cannot_be_opened_is_a_failure(self):
        ended = run("replay", self.scenario([]), "--target", "http://x/", "--documents", self.documents, "--log", self.folder)
        self.assertEqual(ended.returncode, FAILED)

    def test_a_documents_folder_may_end_with_a_slash(self):
        self.documents += "/"
        played = self.play([NO_HOLD, START, SEND])
        self.assertTrue(played.logged("DEBUG_HARVELSTONE_REMOVE_FILE : " + self.storage + "/"))


class ExpectRaise(harness.Case):
    def test_logs_the_reason_and_goes_on(self):
        played = self.play([OFFLINE, START, step("expectRaise", step=step("putGoal")), START])
        line, = [line for line in played.log if "product_code" in line and not line.startswith("DEBUG_")]
        self.assertTrue(line)
        self.assertEqual(played.result["counts"]["steps"], 4)
        self.assertEqual(self.inspect()["queues"], {})

    def test_fails_when_nothing_is_raised(self):
        played = self.play([START, step("expectRaise", step=START), START], code=FAILED)
        self.assertRegex(played.last_error, r"scenario\.jsonl:2: expectRaise: startSession did not raise\Z")
        self.assertEqual(played.result["counts"]["steps"], 1)

    def test_takes_absent_arguments(self):
        for name, arguments in (("setEvent", {"type": "t", "name": None}), ("setCampaign", {"type": "t", "name": "n", "value": 1}),
                                ("setProduct", {"name": "n"}), ("setProductCategory", {"code": None})):
            with self.subTest(name):
                self.play([OFFLINE, START, step("expectRaise", step=step(name, **arguments))])


class Recording(harness.Case):
    """What the recording steps leave in the queues."""

    def record(self, *steps):
        return self.play([OFFLINE, START, *steps])

    def one_record(self, prefix):
        record, = self.queue(prefix)
        self.assertRegex(record.pop("visit_time"), r"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d[+-]\d\d:\d\d\Z")
        return record

    def test_page_click_revenue_and_push_go_into_the_queues_of_the_newest_document(self):
        played = self.record(*(step(name, record={"PARAM_NAME": name, "own": {"PARAM_VALUE": 1}})
                               for name in ("page", "click", "revenue", "push")))
        for name, prefix in (("page", "pages_"), ("click", "click_"), ("revenue", "revenue_"), ("push", "push_")):
            self.assertEqual(self.one_record(prefix), {"name": name, "own": {"value": 1}})
            self.assertIn(prefix + played.pending[-1], self.inspect()["queues"])

    def test_page_progress_is_queued_as_given(self):
        self.record(step("pageProgress", record={"PARAM_VS": 1.5, "PARAM_CS_P_V": 1}))
        self.assertEqual(self.queue("pages_"), [{"visit_seconds": 1.5, "page_views": 1}])

    def test_page_progress_gets_its_date_if_it_is_asked_for(self):
        self.record(step("pageProgress", dated=True, record={"PARAM_VS": 1.5, "PARAM_CS_P_V": 1}))
        self.assertEqual(self.one_record("pages_"), {"visit_seconds": 1.5, "page_views": 1})

    def test_goals_carry_product_and_category(self):
        self.record(step("setProduct", code="P1", name="Shoe"), step("setProductCategory", code="C1"),
                    step("setGoal", goal=3, value=5), step("putGoal"))
        self.assertEqual(self.one_record("goal_"), {"g3": 5, "product_code": "P1", "product_name": "Shoe",
                                                    "product_category": "C1", "product_category_name": ""})

    def test_events_and_campaigns_are_queued(self):
        self.record(step("setEvent", type="t", name="n", value=[1]),
                    step("setCampaign", type="t", name="n", value="v", referer="r"))
        self.assertEqual(self.one_record("event_"), {"type": "t", "name": "n", "value": [1]})
        self.assertEqual(self.one_record("campaign_"), {"type": "t", "name": "n", "value": "v", "referer": "r"})

    def test_after_a_new_visit_records_go_to_its_document(self):
        played = self.record(step("click", record={"visit": 1}), *NEW_VISIT, step("click", record={"visit": 2}))
        queues = self.inspect()["queues"]
        self.assertEqual([queues["click_" + pending][0]["visit"] for pending in played.pending], [1, 2])

    def test_load_document_goes_on_in_the_newest_and_create_document_makes_another(self):
        self.assertEqual(len(self.record(step("loadDocument")).pending), 1)
        self.assertEqual(len(self.record(step("createDocument")).pending), 3)

    def test_page_views_are_counted(self):
        self.record(step("page", record=PAGE), step("addCsPV"))
        with open(os.path.join(self.storage, "BS_SESSION.Harvelstone"), encoding="utf-8") as file:
            self.assertIn("2", file.read())


class Settings(harness.Case):
    """What the setting steps do to the documents."""

    def session_after(self, *steps):
        played = self.play([OFFLINE, *steps, START])
        return self.inspect()["documents"][played.pending[-1]]["session"]

    def test_session_values_and_lists(self):
        session = self.session_after(step("session", key="PARAM_MVT1", value="blue"),
                                     step("session", key="source_trace", value=["a", "b"]),
                                     step("session", key="PARAM_MAT_UPDATE_TIME", value=42))
        self.assertEqual((session["mvt1"], session["source_trace"], session["source_update_time"]), ("blue", ["a", "b"], 42.0))

    def test_a_session_value_cleared_is_absent(self):
        played = self.play([step("session", key="PARAM_MVT1"), step("expectRaise", step=START)])
        self.assertTrue([line for line in played.log if "mvt1" in line and not line.startswith("DEBUG_")])

    def test_profile_and_configuration(self):
        session = self.session_after(step("profile", PARAM_GENDER="F", values={"age": 34}),
                                     step("configure", settings={"app_version": "9.1"}, advertisingId="AD"))
        self.assertEqual((session["gender"], session["age"], session["app_version"], session["adv_id"]),
                         ("F", 34, "9.1", "AD"))

    def test_update_document_brings_the_profile_up_to_date(self):
        session = self.session_after(START, step("profile", mbr="Y"), step("updateDocument"))
        self.assertEqual(session["member"], "Y")

    def test_install_data_reaches_the_refreshed_document(self):
        session = self.session_after(START, step("putInstallData", data={"PARAM_MAT_SOURCE": "mail", "PARAM_UTM_TERM": None}),
                                     step("updateDocument"))
        self.assertEqual((session["source"], session["install_source"], session["utm_term"]), ("mail", "mail", ""))

    def test_visit_timeout_begins_a_new_visit_after_idle_time(self):
        steps = [OFFLINE, step("configure", visitTimeout=60), START, step("clock", advance=61), START]
        self.assertEqual(len(self.play(steps).pending), 2)


class Sending(harness.Case):
    """What the steps do to a pass."""

    def test_the_start_up_hold_ends_with_the_install_referrer(self):
        server = self.server()
        played = self.play([START, SEND, SETTLE, step("putInstallData", data={}), SEND, SETTLE, NO_HOLD, SEND], server.url)
        self.assertEqual(len(played.logged("DEBUG_HARVELSTONE_JSON : EXIT By ltvt == 1 and install Check is false. ")), 2)
        self.assertEqual(len(server.requests), 1)

    def test_the_clock_ends_the_start_up_hold(self):
        server = self.server()
        played = self.play([START, step("clock", advance=31), SEND], server.url)
        self.assertIn("DEBUG_HARVELSTONE_JSON : current time is over than 30 second from start the app.", played.log)
        self.assertEqual(len(server.requests), 1)

    def test_without_consent_nothing_is_sent(self):
        server = self.server()
        played = self.play([NO_HOLD, step("consent", granted=False), START, SEND], server.url)
        self.assertIn("DEBUG_HARVELSTONE_JSON : DEBUG_HARVELSTONE_JSON : EXIT By shouldSend is false.", played.log)
        self.assertEqual(server.requests, [])
        self.play([step("consent", granted=True), SEND], server.url)
        self.assertEqual(len(server.requests), 1)

    def test_without_a_network_nothing_is_sent_until_it_is_back(self):
        server = self.server()
        played = self.play([NO_HOLD, OFFLINE, START, SEND, step("sendClickDataImmediately", record={}), ONLINE, SEND], server.url)
        self.assertIn("DEBUG_HARVELSTONE_LOG : deleteOldestJsonFile Enter.", played.log)
        self.assertIn("DEBUG_HARVELSTONE_CLICK_DATA Network is not connected.", played.log)
        self.assertEqual(len(server.requests), 1)

    def test_the_longest_life_of_data(self):
        server = self.server()
        played = self.play([NO_HOLD, step("maxDataLifeTime", hours=0.5), START, step("clock", advance=HOUR), SEND], server.url)
        self.assertEqual(played.receipt["dropped"], {"expired": 1})
        self.assertEqual(server.requests, [])

    def test_the_longest_retry_count(self):
        server = self.server(lambda request: '{"retry": true}')
        played = self.play([NO_HOLD, step("maxRetryCount", count=1), START, SEND], server.url)
        self.assertEqual(played.receipt["dropped"], {"retries_exhausted": 1})
        self.assertEqual(len(server.requests), 1)

    def test_the_age_of_files_goes_by_the_shifted_clock(self):
        steps = [NO_HOLD, OFFLINE, START, step("click", record=PAGE), step("clock", advance=5 * HOUR),
                 step("setEvent", type=1, name=2, value=3), SEND]
        played = self.play([step("maxFileAge", hours=5), *steps])
        self.assertEqual(len(played.logged("documentManager.deleteOldestJsonFile : ")), 0)
        played = self.play(steps)
        pruned = played.logged("documentManager.deleteOldestJsonFile : ")
        self.assertTrue(any("click_" + played.pending[-1] in line for line in pruned), pruned)
        self.assertFalse(any("event_" + played.pending[-1] in line for line in pruned), pruned)

    def test_the_age_of_files_of_an_earlier_run_is_real(self):
        self.play([OFFLINE, START])
        old, = self.inspect()["pending"]
        long_ago = time.time() - 5 * HOUR
        os.utime(os.path.join(self.storage, old + ".Harvelstone"), (long_ago, long_ago))
        self.play([NO_HOLD, OFFLINE, START, SEND])
        self.assertNotIn(old, self.inspect()["documents"])

    def test_the_traffic_limit_drops_documents(self):
        played = self.play([NO_HOLD, step("trafficLimit", exceeded=True), START, SEND])
        self.assertEqual(played.receipt["dropped"], {"traffic_limit": 1})

    def test_the_lock_state_shows_the_number_of_files(self):
        self.assertFalse(self.play([OFFLINE, START, SEND]).logged("CURRENT_DOCUMENT, remains file count is : "))
        played = self.play([OFFLINE, step("lockState", on=True), START, SEND])
        self.assertEqual(len(played.logged("CURRENT_DOCUMENT, remains file count is : ")), 1)

    def test_custom_push_data_and_the_app_open_mark_go_with_the_next_document(self):
        server = self.server()
        self.play([NO_HOLD, START, step("customPush", map={"PARAM_NAME": "sale"}), step("appOpen"), SEND], server.url)
        document, = server.documents()
        self.assertEqual(document["push"]["name"], "sale")
        self.assertIn("app_open", document["session"])

    def test_custom_push_data_can_be_taken_back(self):
        server = self.server()
        self.play([NO_HOLD, START, step("customPush", map={"a": 1}), step("customPush"), SEND], server.url)
        self.assertNotIn("push", server.documents()[0])

    def test_a_preference_is_read_by_the_next_document_of_the_visit(self):
        server = self.server()
        self.play([NO_HOLD, START, SEND, SETTLE, step("preference", key="VISIT_NEW_SERVER_TIME", value=7),
                   step("click", record=PAGE), SEND], server.url)
        first, second = server.documents()
        self.assertNotIn("visit_new_server_time", first["session"])
        self.assertEqual(second["session"]["visit_new_server_time"], 7)

    def test_short_pages_are_folded(self):
        server = self.server()
        dates = ("2016-11-16T01:20:00+00:00", "2016-11-16T01:20:05+00:00")
        progress = [step("pageProgress", record={"PARAM_VT_TZ": date, "PARAM_VS": 1.5, "PARAM_CS_P_V": 1}) for date in dates]
        self.play([NO_HOLD, START, *progress, SEND], server.url)
        page, = server.documents()[0]["pages"]
        self.assertEqual((page["visit_time"], page["visit_seconds"], page["page_views"]), (dates[1], 2, 2))

    def test_the_target_may_change(self):
        server = self.server()
        self.play([NO_HOLD, START, step("configure", targetUri=server.url), SEND])
        self.assertEqual(len(server.requests), 1)

    def test_a_target_that_is_no_address_leaves_the_document_stored(self):
        played = self.play([NO_HOLD, START, SEND], target="no address")
        self.assertIn("DEBUG_HARVELSTONE_JSON : an Exception occurred.", played.log)
        self.assertEqual(played.receipt, {"sent": 0, "stillStored": 1, "dropped": {}})


class Time(harness.Case):
    def test_wait_lets_real_time_pass_and_runs_the_main_queue(self):
        begin = time.monotonic()
        played = self.play([NO_HOLD, START, SEND, step("wait", seconds=2), OFFLINE, SEND], self.server().url)
        self.assertGreaterEqual(time.monotonic() - begin, 2)
        removal = next(i for i, line in enumerate(played.log) if line.startswith("DEBUG_HARVELSTONE_REMOVE_FILE document id"))
        self.assertLess(removal, played.log.index("DEBUG_HARVELSTONE_LOG : deleteOldestJsonFile Enter."))

    def test_settle_waits_for_the_removal(self):
        played = self.play([NO_HOLD, START, SEND, SETTLE, OFFLINE, SEND], self.server().url)
        removal = next(i for i, line in enumerate(played.log) if line.startswith("DEBUG_HARVELSTONE_REMOVE_FILE document id"))
        self.assertLess(removal, played.log.index("DEBUG_HARVELSTONE_LOG : deleteOldestJsonFile Enter."))


if __name__ == "__main__":
    harness.main()
