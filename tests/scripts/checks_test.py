"""The architecture checks find what they are for, in small trees that break one rule each, and nothing else."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "scripts"
sys.path.insert(0, str(SCRIPTS / "checks"))

import boundaries  # noqa: E402
import code_blocks  # noqa: E402
import contents  # noqa: E402
import dependencies  # noqa: E402
import guarantees  # noqa: E402
import links  # noqa: E402
import page  # noqa: E402
import selector_table  # noqa: E402
import wording  # noqa: E402


class TreeTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")


class BoundariesTest(TreeTest):
    def findings(self, name, text):
        self.write(name, text)
        return boundaries.check(self.root)

    def test_each_kind_of_machine_call_is_found_in_a_service(self):
        calls = {
            "clock": ["auto t = std::chrono::system_clock::now();", "auto t = time(nullptr);", "::gettimeofday(&tv, nullptr);"],
            "file": ["int fd = open(p, 0);", "std::ifstream in(p);", "std::filesystem::remove(p);", "::fopen(p, m);"],
            "thread": ["std::thread worker(run);", "pthread_create(&t, 0, f, 0);", "std::this_thread::yield();", "sleep(1);"],
            "socket": ["int s = socket(AF_INET, 0, 0);", "::connect(s, a, n);"],
            "random": ["int n = rand();", "std::random_device device;", "std::mt19937 engine;"],
        }
        for kind, lines in calls.items():
            for line in lines:
                with self.subTest(line=line):
                    found = self.findings("harvelstone/services/x.cpp", f"void f() {{\n    {line}\n}}\n")
                    self.assertEqual(len(found), 1, found)
                    self.assertIn(f"x.cpp:2: a {kind} call", found[0])

    def test_platform_may_call_the_machine(self):
        text = "#include <unistd.h>\nint f() { return ::open(p, 0); }\n"
        self.assertEqual(self.findings("harvelstone/platform/x.cpp", text), [])

    def test_members_comments_and_texts_are_no_machine_calls(self):
        text = (
            "// open(path) and time(0)\n"
            "/* std::thread */ const char* a = \"rand()\";\n"
            "void Log::open() { file->open(path, mode); files.rename(a, b); clock_->time(); QueueState::open(name); }\n"
            "const auto big = 1'000'000; const char c = '\"'; auto d = std::chrono::seconds(sleepSeconds(3));\n"
        )
        self.assertEqual(self.findings("harvelstone/services/x.cpp", text), [])

    def test_headers_of_the_machine_are_found(self):
        for header in ["fstream", "filesystem", "thread", "unistd.h", "sys/socket.h", "random", "curl/curl.h", "asio.hpp"]:
            with self.subTest(header=header):
                found = self.findings("harvelstone/records/x.cpp", f"#include <{header}>\n")
                self.assertEqual(len(found), 1, found)
                self.assertIn("outside platform/", found[0])

    def test_includes_against_the_direction_are_found(self):
        wrong = [
            ("platform", "services"),
            ("services", "document"),
            ("document", "session"),
            ("session", "records"),
            ("records", "transmit"),
            ("transmit", "housekeeping"),
            ("housekeeping", "api"),
        ]
        for inner, outer in wrong:
            with self.subTest(folder=inner):
                found = self.findings(f"harvelstone/{inner}/x.cpp", f'#include "harvelstone/{outer}/Y.hpp"\n')
                self.assertEqual(found, [f'harvelstone/{inner}/x.cpp:1: {inner}/ must not include "harvelstone/{outer}/Y.hpp"'])
                (self.root / f"harvelstone/{inner}/x.cpp").unlink()

    def test_includes_along_the_direction_are_fine(self):
        text = '#include "harvelstone/document/A.hpp"\n#include "harvelstone/services/B.hpp"\n#include "harvelstone/session/C.hpp"\n'
        self.assertEqual(self.findings("harvelstone/session/x.cpp", text), [])
        self.assertEqual(self.findings("harvelstone/api/y.cpp", text), [])

    def test_the_library_must_not_include_tools_or_relative_paths(self):
        for name in ["tools/collector.hpp", "tests/support/TestPlatform.hpp", "Value.hpp", "../platform/Value.hpp"]:
            with self.subTest(name=name):
                self.assertEqual(len(self.findings("harvelstone/api/x.cpp", f'#include "{name}"\n')), 1)

    def test_other_libraries_in_a_header_are_found(self):
        for header in ["fmt/format.h", "zlib.h", "simdjson.h", "curl/curl.h"]:
            with self.subTest(header=header):
                found = self.findings("harvelstone/platform/X.hpp", f"#pragma once\n#include <{header}>\n")
                self.assertEqual(found, [f"harvelstone/platform/X.hpp:2: <{header}> belongs into a source file: headers include no other library"])

    def test_only_platform_headers_may_hold_types_of_the_system(self):
        self.assertEqual(self.findings("harvelstone/platform/X.hpp", "#include <signal.h>\n"), [])
        self.assertEqual(len(self.findings("harvelstone/services/X.hpp", "#include <signal.h>\n")), 1)

    def test_other_libraries_in_a_source_file_are_fine(self):
        self.assertEqual(self.findings("harvelstone/services/x.cpp", "#include <fmt/format.h>\n#include <zlib.h>\n"), [])

    def test_an_unknown_folder_is_found(self):
        self.assertEqual(len(self.findings("harvelstone/extras/x.cpp", "")), 1)


HEADER = """\
#pragma once

// Contents               bodies in
//   State                document/process_state.cpp
//   Registry             document/registry.cpp
//   Sending: loop        transmit/send_loop.cpp

#include <atomic>

namespace harvelstone {

// ---- State: document/process_state.cpp ----

/// Said of registry.cpp, but no heading.
extern std::atomic<bool> sendLock;

class DocumentManager {
  public:
    DocumentManager(const DocumentManager&) = delete;

    // ---- Registry: document/registry.cpp ----

    /// Calls `load()`.
    static DocumentManager& sharedInstance();
    void setCampaign(std::optional<int> type,
                     std::optional<int> name);

    // ---- Sending ----

    // transmit/send_loop.cpp
    void sendDocument();

  private:
    DocumentManager();
};

}  // namespace harvelstone
"""
STATE = "namespace harvelstone {\nconstinit std::atomic<bool> sendLock{false};\n}\n"
REGISTRY = """\
namespace harvelstone {
DocumentManager& DocumentManager::sharedInstance() { return *manager; }
void DocumentManager::setCampaign(std::optional<int> type,
                                  std::optional<int> name) {
    DocumentManager::sharedInstance().sendDocument();
}
}
"""
SENDING = "namespace harvelstone {\nvoid DocumentManager::sendDocument() {}\n}\n"


class ContentsTest(TreeTest):
    def setUp(self):
        super().setUp()
        self.write("harvelstone/document/DocumentManager.hpp", HEADER)
        self.write("harvelstone/document/process_state.cpp", STATE)
        self.write("harvelstone/document/registry.cpp", REGISTRY)
        self.write("harvelstone/transmit/send_loop.cpp", SENDING)

    def findings(self):
        return contents.check(self.root)

    def test_a_tree_that_agrees_is_fine(self):
        self.assertEqual(self.findings(), [])

    def test_an_operation_in_another_file_is_found(self):
        self.write("harvelstone/transmit/send_loop.cpp", "")
        self.write("harvelstone/document/registry.cpp", REGISTRY + SENDING)
        self.assertEqual(
            self.findings(),
            [
                "DocumentManager::sendDocument is defined in harvelstone/document/registry.cpp; "
                "the header names harvelstone/transmit/send_loop.cpp"
            ],
        )

    def test_an_operation_in_two_files_is_found(self):
        self.write("harvelstone/document/registry.cpp", REGISTRY + SENDING)
        self.assertEqual(len(self.findings()), 1)

    def test_an_operation_without_a_definition_is_found(self):
        self.write("harvelstone/transmit/send_loop.cpp", "// void DocumentManager::sendDocument() {}\n")
        self.assertEqual(
            self.findings(),
            ["DocumentManager::sendDocument is defined nowhere; the header names harvelstone/transmit/send_loop.cpp"],
        )

    def test_a_heading_outside_the_contents_list_is_found(self):
        self.write("harvelstone/document/DocumentManager.hpp", HEADER.replace("//   Sending: loop        transmit/send_loop.cpp\n", ""))
        self.assertEqual(len(self.findings()), 1)
        self.assertIn("not in the contents list", self.findings()[0])

    def test_a_listed_file_without_a_heading_is_found(self):
        self.write("harvelstone/document/DocumentManager.hpp", HEADER.replace("    // transmit/send_loop.cpp\n", ""))
        self.assertTrue(any("heads nothing" in finding for finding in self.findings()), self.findings())

    def test_a_missing_file_is_found(self):
        (self.root / "harvelstone/transmit/send_loop.cpp").unlink()
        self.assertIn("harvelstone/transmit/send_loop.cpp is listed but missing", self.findings())

    def test_process_wide_state_in_another_file_is_found(self):
        self.write("harvelstone/document/process_state.cpp", "")
        self.write("harvelstone/document/registry.cpp", STATE + REGISTRY)
        self.assertEqual(
            self.findings(),
            ["sendLock is not defined in the file that its heading names, harvelstone/document/process_state.cpp"],
        )

    def test_a_missing_header_is_found(self):
        (self.root / "harvelstone/document/DocumentManager.hpp").unlink()
        self.assertEqual(len(self.findings()), 1)


TABLE = """\
| selector | method | source file |
|---|---|---|
| `sharedInstance` | `sharedInstance()` | `document/registry.cpp` |
| `setCampaign:name:` | `setCampaign(type, name)` | `document/registry.cpp` |
| `sendDocument` | `sendDocument()` | `transmit/send_loop.cpp` |
"""


class SelectorTableTest(TreeTest):
    def findings(self, table):
        self.write("harvelstone/document/DocumentManager.hpp", HEADER)
        self.write("docs/design.md", table)
        return selector_table.check(self.root)

    def test_a_table_that_agrees_is_fine(self):
        self.assertEqual(self.findings(TABLE), [])

    def test_a_missing_row_is_found(self):
        self.assertEqual(self.findings(TABLE[: TABLE.index("| `sendDocument")]), ["docs/design.md: sendDocument has no row"])

    def test_another_file_than_the_headers_is_found(self):
        self.assertEqual(len(self.findings(TABLE.replace("transmit/send_loop", "document/registry"))), 1)

    def test_a_method_that_the_rule_does_not_make_is_found(self):
        self.assertEqual(len(self.findings(TABLE.replace("`setCampaign:name:`", "`setCampaign:`"))), 1)

    def test_a_missing_page_is_found(self):
        self.write("harvelstone/document/DocumentManager.hpp", HEADER)
        self.assertEqual(selector_table.check(self.root), ["docs/design.md is missing"])


# Put together here, so that this file itself passes.
BANNED = ["sp" + "ec", "The SP" + "ECIFICATION", "sp" + "ecs", "Pa" + "rt 4.2", "shar" + "ed/sp" + "ec.md"]


class WordingTest(TreeTest):
    def setUp(self):
        super().setUp()
        subprocess.run(["git", "init", "--quiet", str(self.root)], check=True)

    def test_each_banned_word_is_found(self):
        for word in BANNED:
            with self.subTest(word=word):
                self.write("docs/page.md", f"fine\nsee {word} there\n")
                found = wording.check(self.root)
                self.assertEqual(len(found), 1, found)
                self.assertTrue(found[0].startswith("docs/page.md:2:"), found)

    def test_a_file_name_is_found(self):
        self.write(BANNED[0] + ".txt", "")
        self.assertEqual(len(wording.check(self.root)), 1)

    def test_other_words_are_fine(self):
        self.write("docs/page.md", "This specifies a special part: inspect it, especially part 4 and Part one.\n")
        self.assertEqual(wording.check(self.root), [])

    def test_the_maintainers_page_and_ignored_files_are_left_alone(self):
        self.write("DEVELOPERS.md", BANNED[0])
        self.write(".gitignore", "build/\n")
        self.write("build/page.md", BANNED[0])
        self.assertEqual(wording.check(self.root), [])


class LinksTest(TreeTest):
    def test_a_link_to_nowhere_is_found(self):
        self.write("README.md", "[a](docs/a.md) [b](docs/b.md#part) [web](https://example.com) [here](#top)\n")
        self.write("docs/a.md", "[up](../README.md) [gone](gone.md)\n```\n[code](nothing.md)\n```\n")
        self.assertEqual(
            links.check(self.root),
            ["README.md: the link to docs/b.md#part leads nowhere", "docs/a.md: the link to gone.md leads nowhere"],
        )


class GuaranteesTest(TreeTest):
    def test_a_guarantee_without_its_test_is_found(self):
        self.write("tests/a/a_test.cpp", "TEST_F(Disk, KeepsRecords) {\n}\nTEST(Map, IsWhole) {\n}\nTEST_P(Life, Ends) {\n}\n")
        self.write("docs/guarantees.md", "`Disk.KeepsRecords`, `Map.*`\n`Life.Ends`, `Disk.IsWhole`, `Folder.*`, `record.add`\n")
        self.assertEqual(
            guarantees.check(self.root),
            [
                "docs/guarantees.md:2: there is no test Disk.IsWhole",
                "docs/guarantees.md:2: there is no test Folder.*",
            ],
        )


class CodeBlocksTest(TreeTest):
    def findings(self, language, block):
        self.write("README.md", f"# Title\n\n```{language}\n{block}```\n")
        return code_blocks.check(self.root)

    def assert_found(self, language, block, fault):
        self.assertEqual(self.findings(language, block), [f"README.md:3: {fault}"])

    def test_what_is_quoted_from_an_example_is_fine(self):
        self.write("tests/CMakeLists.txt", "example(a.cpp)\n")
        self.write("examples/hosts/a.cpp", "int main() {\n    first();\n\n    if (x) {\n        second();\n    }\n}\n")
        for block in ("first();\n\nif (x) {\n    second();\n}\n", "    first();\n", "int main() {\n    first();\n"):
            self.assertEqual(self.findings("cpp", block), [])

    def test_what_is_quoted_from_a_file_that_nothing_builds_is_found(self):
        self.write("tests/CMakeLists.txt", "example(a.cpp)\n")
        self.write("scripts/install-check", "make_host examples/a\n")
        for language, first, second in (("cpp", "hosts/a.cpp", "hosts/b.cpp"), ("cmake", "a/CMakeLists.txt", "b/CMakeLists.txt")):
            self.write(f"examples/{first}", "first()\n")
            self.write(f"examples/{second}", "second()\n")
            self.assertEqual(self.findings(language, "first()\n"), [])
            self.assert_found(language, "second()\n", "the block stands in no file that is compiled or run")

    def test_a_block_that_is_not_written_as_the_others_is_found(self):
        fault = "README.md: a block does not begin and end with ``` on lines of their own"
        for text in ("```sh\n./dev demo\n", "~~~\nprinted\n~~~\n", "- item\n\n  ```\n  printed\n  ```\n", "printed\n```\n"):
            self.write("README.md", f"# Title\n\n{text}")
            self.assertEqual(code_blocks.check(self.root), [fault], text)

    def test_what_is_not_quoted_line_for_line_is_found(self):
        self.write("tests/CMakeLists.txt", "example(a.cpp)\n")
        self.write("examples/hosts/a.cpp", "first();\n\nsecond();\nthird();\n")
        fault = "the block stands in no file that is compiled or run"
        for block in ("fourth();\n", "first();\nsecond();\n", "first();\n\n    second();\n", "third();\nsecond();\n"):
            self.assert_found("cpp", block, fault)
        self.assert_found("c", "first();\n", fault)
        self.assert_found("python", "first();\n", fault)

    def test_json_is_parsed(self):
        self.assertEqual(self.findings("json", '{"a": 1}\n'), [])
        self.assertEqual(self.findings("jsonl", '# comment\n\n{"a": 1}\n[]\n'), [])
        self.assertEqual(len(self.findings("json", '{"a": 1,}\n')), 1)
        self.assertEqual(len(self.findings("jsonl", '{"a": 1}\n{"a"}\n')), 1)

    def test_a_command_is_found_that_there_is_not(self):
        self.write("dev", "usage:\n  demo [ARGUMENT...]   plays\n")
        self.write("tools/main.cpp", 'subcommand("collect")->add_option("--port")\n')
        self.write("CMakePresets.json", '{"configurePresets": [{"name": "dev"}]}')
        self.write("scripts/install-check", "quietly c++ -o shop\n")
        self.write("examples/a.py", "")
        for command in ("./dev demo  # plays", "build/release/harvelstone collect --port 8080", "python3 examples/a.py 1",
                        "cmake --build --preset dev", "c++ shop.cpp -o shop"):
            self.assertEqual(self.findings("sh", f"{command}\n"), [], command)
        for command in ("./dev fly", "harvelstone collect --ports 1", "harvelstone fly", "python3 examples/b.py",
                        "cmake --preset fly", "cc shop.c", "rm -r build"):
            self.assertEqual(len(self.findings("sh", f"./dev demo\n{command}\n")), 1, command)

    def test_a_host_that_is_shown_in_too_many_lines_is_found(self):
        self.write("tests/CMakeLists.txt", "example(a.cpp)\n")
        self.write("examples/hosts/a.cpp", "call();\n" * 19 + "last();\n")
        shown = "# Hosts\n\n## A loop\n\n```cpp\n" + "call();\n" * 19 + "```\n"
        self.write("docs/hosts.md", shown)
        self.assertEqual(code_blocks.check(self.root), [])
        self.write("docs/hosts.md", shown + "\n```cpp\nlast();\n```\n")
        self.assertEqual(code_blocks.check(self.root), ["docs/hosts.md: 20 lines of code under A loop; 19 are the most"])

    def test_a_language_that_nothing_is_known_of_is_found(self):
        self.assertEqual(self.findings("", "printed\n"), [])
        self.assert_found("rust", "fn main() {}\n", "nobody knows what to do with a block of rust")


class DependenciesTest(TreeTest):
    """The tree's own files, with a change in one."""

    def findings(self, changed="", old="", new=""):
        for name in (dependencies.PACKAGES, "vcpkg.json", "conanfile.py", *dependencies.CMAKE.values()):
            text = (SCRIPTS.parent / name).read_text(encoding="utf-8")
            if name == changed:
                self.assertIn(old, text)
                text = text.replace(old, new, 1)
            self.write(name, text)
        return dependencies.check(self.root)

    def test_a_tree_that_agrees_is_fine(self):
        self.assertEqual(self.findings(), [])

    def test_a_library_that_is_missing_is_found(self):
        self.assertEqual(self.findings("vcpkg.json", '"fmt", ', ""), ["vcpkg.json: fmt is missing in library"])
        self.assertEqual(self.findings("conanfile.py", 'self.requires("cli11', 'pass  # self.requires("cli11'),
                         ["conanfile.py: cli11 is missing in tools"])
        self.assertEqual(self.findings(dependencies.PACKAGES, "zlib1g-dev ", ""),
                         [dependencies.PACKAGES + ": zlib1g-dev is missing in build"])
        self.assertEqual(self.findings("tests/CMakeLists.txt", "find_package(rapidcheck REQUIRED)\n", ""),
                         ["tests/CMakeLists.txt: rapidcheck is missing in tests"])

    def test_a_library_that_only_one_of_them_names_is_found(self):
        found = self.findings(dependencies.PACKAGES, "libfmt-dev", "libfmt-dev libpng-dev")
        self.assertEqual(len(found), 1)
        self.assertIn("libpng-dev in build is not known", found[0])
        self.assertEqual(len(self.findings("cmake/dependencies.cmake", "find_package(fmt", "find_package(PNG)\nfind_package(fmt")), 1)
        self.assertEqual(len(self.findings("vcpkg.json", '"gtest"', '"gtest", "catch2"')), 1)
        self.assertEqual(len(self.findings("conanfile.py", 'self.requires("zlib', 'self.requires("libpng/1")\n        self.requires("zlib')), 1)

    def test_a_missing_file_is_found(self):
        self.write(dependencies.PACKAGES, "")
        self.assertEqual(dependencies.check(self.root)[:2], ["vcpkg.json is missing", "conanfile.py is missing"])

    def test_a_recipe_that_is_no_python_is_found(self):
        found = self.findings("conanfile.py", "def layout(self):", "def layout(self)")
        self.assertRegex("\n".join(found), r"\Aconanfile\.py:\d+: expected ':'\Z")


class PageTest(TreeTest):
    def setUp(self):
        super().setUp()
        self.write("tools/page/src/main.tsx", "render()")
        self.write("docs/upload.schema.json", "{}")
        self.build()

    def build(self):
        self.write("tools/page/inspector.html", f'<meta name="sources" content="{page.digest(self.root)}">')

    def test_a_page_of_these_sources_is_fine(self):
        self.assertEqual(page.check(self.root), [])

    def test_a_page_of_other_sources_is_found(self):
        for name in ("tools/page/src/main.tsx", "tools/page/src/more.css", "docs/upload.schema.json", "tools/page/package-lock.json"):
            with self.subTest(name=name):
                self.write(name, '{"other": 1}')
                self.assertEqual(len(page.check(self.root)), 1)
                self.build()

    def test_a_missing_page_is_found(self):
        (self.root / "tools/page/inspector.html").unlink()
        self.assertEqual(len(page.check(self.root)), 1)


class CommandTest(TreeTest):
    def run_checks(self):
        subprocess.run(["git", "init", "--quiet", str(self.root)], check=True)
        self.write("harvelstone/document/DocumentManager.hpp", HEADER)
        self.write("harvelstone/document/process_state.cpp", STATE)
        self.write("harvelstone/document/registry.cpp", REGISTRY)
        self.write("harvelstone/transmit/send_loop.cpp", SENDING)
        self.write("docs/design.md", TABLE)
        return subprocess.run([sys.executable, "-B", str(SCRIPTS / "checks"), str(self.root)], capture_output=True, text=True)

    def test_it_succeeds_on_a_good_tree(self):
        run = self.run_checks()
        self.assertEqual((run.returncode, run.stderr), (0, ""))

    def test_it_fails_on_a_bad_tree(self):
        self.write("harvelstone/services/x.cpp", "int f() { return rand(); }\n")
        run = self.run_checks()
        self.assertEqual(run.returncode, 1)
        self.assertIn("boundaries: 1 found", run.stdout)


if __name__ == "__main__":
    unittest.main()
