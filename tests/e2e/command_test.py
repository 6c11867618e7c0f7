"""The command line itself: help, exit codes, keys."""

import json
import pathlib

import harness
from harness import DONE, WRONG_USE, run

SUBCOMMANDS = ("demo", "collect", "replay", "inspect", "keys")


class CommandLine(harness.Case):
    def test_every_subcommand_has_help(self):
        for name in SUBCOMMANDS:
            with self.subTest(name):
                ended = run(name, "--help")
                self.assertEqual(ended.returncode, DONE)
                self.assertIn(name, ended.stdout)
                self.assertIn("--help", ended.stdout)
                self.assertIn("Exit codes", ended.stdout)

    def test_help_names_every_subcommand(self):
        ended = run("--help")
        self.assertEqual(ended.returncode, DONE)
        for name in SUBCOMMANDS:
            self.assertIn("\n  " + name, ended.stdout)

    def test_tells_its_version(self):
        ended = run("--version")
        self.assertEqual(ended.returncode, DONE)
        self.assertRegex(ended.stdout, r"\A\d+\.\d+\.\d+\n\Z")

    def test_wrong_use_ends_with_2_and_a_message(self):
        for arguments in ((), ("fly",), ("keys", "--xml"), ("keys", "extra"),
                          ("keys", "--json", "--markdown"), ("inspect",), ("replay",),
                          ("replay", "s.jsonl", "--target", "http://x"), ("replay", "s.jsonl", "--documents", "d"),
                          ("collect", "--port", "70000"), ("collect", "--port", "x"), ("collect", "--max-body", "0"),
                          ("demo", "extra"), ("--fly",)):
            with self.subTest(arguments):
                ended = run(*arguments)
                self.assertEqual(ended.returncode, WRONG_USE)
                self.assertEqual(ended.stdout, "")
                self.assertNotEqual(ended.stderr, "")


class Keys(harness.Case):
    def test_as_json(self):
        ended = run("keys", "--json")
        self.assertEqual(ended.returncode, DONE)
        keys = json.loads(ended.stdout)
        self.assertEqual(set(keys), {"StaticValues", "TrackType"})
        self.assertEqual(keys["StaticValues"]["DOCUMENT_DB_NAME"], "DocumentDB")
        self.assertEqual(set(keys["TrackType"]), {"TYPE_SESSION", "TYPE_POSTBACK", "TYPE_GOAL", "TYPE_PAGES", "TYPE_CLICK",
                                                  "TYPE_REVENUE", "TYPE_PUSH"})

    def test_texts_are_distinct_and_begin_no_other_prefix(self):
        texts = json.loads(run("keys", "--json").stdout)["StaticValues"]
        self.assertEqual(len(set(texts.values())), len(texts))
        prefixes = [text for name, text in texts.items() if name.endswith("_FILE_PREFIX")]
        self.assertEqual(len(prefixes), 7)
        for prefix in prefixes:
            self.assertFalse([other for other in prefixes if other != prefix and other.startswith(prefix)])

    def test_for_people(self):
        ended = run("keys")
        self.assertEqual(ended.returncode, DONE)
        self.assertRegex(ended.stdout, r"(?m)^  PARAM_AK +app_key$")
        self.assertRegex(ended.stdout, r"(?m)^  TYPE_SESSION +session$")

    def test_as_markdown_are_the_end_of_their_page(self):
        ended = run("keys", "--markdown")
        self.assertEqual(ended.returncode, DONE)
        page = pathlib.Path(__file__).resolve().parents[2] / "docs" / "keys.md"
        written = page.read_text(encoding="utf-8")
        self.assertEqual(written[written.index("## StaticValues\n"):], ended.stdout)


if __name__ == "__main__":
    harness.main()
