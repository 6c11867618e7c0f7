"""Restarts are real processes over the same folder."""

import signal

import harness
from harness import NO_HOLD, NEW_VISIT, OFFLINE, SEND, SETTLE, START, step


class Restart(harness.Case):
    def test_sends_the_documents_of_earlier_runs_first(self):
        first = self.play([NO_HOLD, OFFLINE, START, step("click", record={"run": 1}), *NEW_VISIT])
        second = self.play([OFFLINE, *NEW_VISIT, step("click", record={"run": 2})])
        self.assertEqual(second.pending[:2], first.pending)

        server = self.server()
        self.play([*NEW_VISIT, SEND], server.url)
        sids = [document["session"]["sid"] for document in server.documents()]
        earlier = [pending.split("_")[0] for pending in second.pending]
        # The start of the second run continued the first's visit, without anything to report.
        self.assertEqual(sids[:3], [earlier[0], earlier[1], earlier[3]])
        self.assertEqual(server.documents()[0]["click"][0]["run"], 1)
        self.assertEqual(server.documents()[2]["click"][0]["run"], 2)

    def test_keeps_what_the_host_set(self):
        self.play([NO_HOLD, OFFLINE, step("configure", PARAM_AK="shop"), step("profile", PARAM_MBR="Y"),
                   step("session", key="PARAM_PDTK", value="token"), START])
        server = self.server()
        self.play([*NEW_VISIT, SEND], server.url)
        session = server.documents()[-1]["session"]
        self.assertEqual((session["app_key"], session["member"], session["push_device_token"]), ("shop", "Y", "token"))

    def test_counts_visits_on(self):
        server = self.server()
        for _ in range(3):
            self.play([NO_HOLD, *NEW_VISIT, SEND], server.url)
        counts = [document["session"]["lifetime_visits"] for document in server.documents()]
        self.assertEqual(counts, sorted(counts))
        self.assertGreaterEqual(counts[-1], 3)


class Kill(harness.Case):
    def kill_in_mid_upload(self, steps):
        server = self.silent_server()
        process = self.start(steps, server.url)
        harness.wait_until(lambda: server.requests, "the upload has arrived")
        process.send_signal(signal.SIGKILL)
        self.assertEqual(process.wait(harness.TIME_LIMIT), -signal.SIGKILL)
        return server.requests[0].document

    def test_in_mid_upload_sends_the_document_again_with_its_counter_raised(self):
        sent = self.kill_in_mid_upload([NO_HOLD, START, step("page", record={"PARAM_NAME": "cart"}), SEND, SETTLE])
        self.assertEqual(sent["retry_count"], 1)

        server = self.server()
        self.play([SEND], server.url)
        again = server.documents()[0]
        self.assertEqual(again, {**sent, "retry_count": 2})

    def test_again_and_again_ends_at_the_limit(self):
        self.kill_in_mid_upload([NO_HOLD, START, SEND, SETTLE])
        self.assertEqual(self.kill_in_mid_upload([SEND, SETTLE])["retry_count"], 2)
        self.assertEqual(self.kill_in_mid_upload([SEND, SETTLE])["retry_count"], 3)
        played = self.play([SEND], self.server().url)
        self.assertEqual(played.receipt["dropped"]["retries_exhausted"], 1)

    def test_loses_no_line_of_the_log(self):
        self.kill_in_mid_upload([NO_HOLD, START, SEND, SETTLE])
        self.assertTrue(any(line.startswith("DEBUG_HARVELSTONE_JSON[SDK REQUEST URL] ") for line in self.read_log()))


if __name__ == "__main__":
    harness.main()
