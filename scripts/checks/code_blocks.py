"""Every code block of README.md and the pages stands in a file that is compiled or run, or is a command that there is.

C++, C, Python and CMake are quoted from examples/ and tests/, indented more or less: from files that the tests or a
script name, which build and run them. JSON parses. Commands name subcommands, options, presets and files that exist;
for what builds hosts there is the script that does the same. A host is shown in few lines: they are counted for each
heading of its page.
"""

import json
import re
import shlex

SOURCES = {"cpp": "examples/**/*.cpp", "c": "examples/**/*.c", "python": ("examples/**/*.py", "tests/e2e/*.py"),
           "cmake": "examples/**/CMakeLists.txt"}
# In a project of its own the sources lie in a folder of their name.
ELSEWHERE = {"add_subdirectory(harvelstone)": "add_subdirectory(../.. harvelstone)"}
# What names the files that it builds and runs.
BUILDERS = ("tests/**/CMakeLists.txt", "tests/**/*.py", "examples/**/CMakeLists.txt", "scripts/install-check")
# The program that begins a command, and what runs such commands in earnest.
TRIED_BY = {"c++": "scripts/install-check", "cc": "scripts/install-check"}
NO_CODE = ("", "hex")  # what is printed, and bytes of files
COMMAND_LINE = "tools/main.cpp"
HOSTS, LINES_OF_A_HOST = "docs/hosts.md", 19

_MARK = re.compile(r"^\s*(?:```|~~~)", re.MULTILINE)
_FENCE = re.compile(r"^```(\w*)[^\n]*\n(.*?)^```$", re.DOTALL | re.MULTILINE)


def check(root):
    findings = []
    for page in sorted(root.glob("*.md")) + sorted((root / "docs").glob("*.md")):
        text = page.read_text(encoding="utf-8")
        blocks = list(_FENCE.finditer(text))
        if len(_MARK.findall(text)) != 2 * len(blocks):
            findings.append(f"{page.relative_to(root).as_posix()}: a block does not begin and end with ``` on lines of their own")
        for match in blocks:
            line = text.count("\n", 0, match.start()) + 1
            fault = _fault(root, match.group(1), match.group(2))
            if fault:
                findings.append(f"{page.relative_to(root).as_posix()}:{line}: {fault}")
    return findings + _long_hosts(root / HOSTS)


def _long_hosts(page):
    findings = []
    for section in page.read_text(encoding="utf-8").split("\n## ")[1:] if page.exists() else ():
        lines = sum(match.group(2).count("\n") for match in _FENCE.finditer(section))
        if lines > LINES_OF_A_HOST:
            findings.append(f"{HOSTS}: {lines} lines of code under {section.splitlines()[0]}; {LINES_OF_A_HOST} are the most")
    return findings


def _fault(root, language, block):
    """What is wrong with the block, or None."""
    if language in SOURCES:
        return None if _is_quoted(root, language, block) else "the block stands in no file that is compiled or run"
    if language in ("json", "jsonl"):
        return _json_fault(language, block)
    if language == "sh":
        commands = (shlex.split(line, comments=True) for line in block.replace("\\\n", "").splitlines())
        return next((fault for words in commands if (fault := _command_fault(root, words))), None)
    return None if language in NO_CODE else f"nobody knows what to do with a block of {language}"


def _stripped(lines):
    """Without what they are indented together, and without blank lines at the ends."""
    text = "\n".join(ELSEWHERE.get(line, line).rstrip() for line in lines).strip("\n")
    indent = min((len(line) - len(line.lstrip()) for line in text.split("\n") if line), default=0)
    return [line[indent:] for line in text.split("\n")]


def _is_quoted(root, language, block):
    wanted = _stripped(block.split("\n"))
    patterns = SOURCES[language] if isinstance(SOURCES[language], tuple) else (SOURCES[language],)
    for path in (path for pattern in patterns for path in root.glob(pattern) if _is_built(root, path)):
        lines = [line.rstrip() for line in path.read_text(encoding="utf-8").split("\n")]
        for begin in range(len(lines) - len(wanted) + 1):
            if _stripped(lines[begin : begin + len(wanted)]) == wanted:
                return True
    return False


def _is_built(root, path):
    if path.name == "CMakeLists.txt":
        named = re.compile(rf"\bexamples/{re.escape(path.parent.name)}\b")
    elif path.is_relative_to(root / "tests"):
        return True
    else:
        named = re.compile(rf"\b{re.escape(path.name)}\b")
    builders = (builder for pattern in BUILDERS for builder in root.glob(pattern) if builder != path)
    return any(named.search(builder.read_text(encoding="utf-8")) for builder in builders)


def _json_fault(language, block):
    texts = [block]
    if language == "jsonl":
        texts = [line for line in block.splitlines() if line and not line.startswith("#")]
    for text in texts:
        try:
            json.loads(text)
        except ValueError as error:
            return f"no JSON: {error}"
    return None


def _command_fault(root, words):
    """What is wrong with a command. Only its first program is looked at, and what options and files it names."""
    if not words:
        return None
    program = words[0]
    if program == "./dev":
        is_there = len(words) > 1 and re.search(rf"^  {re.escape(words[1])}\b", (root / "dev").read_text(), re.MULTILINE)
        return None if is_there else f"./dev has no such command: {' '.join(words)}"
    if program.endswith("harvelstone"):
        text = (root / COMMAND_LINE).read_text(encoding="utf-8")
        unknown = [word for word in words[1:] if word.startswith("--") and f'"{word}"' not in text]
        is_there = f'"{words[1]}"' in text and not unknown
        return None if is_there else f"harvelstone has no such subcommand or option: {' '.join(words)}"
    if program == "python3":
        return None if (root / words[1]).exists() else f"there is no {words[1]}"
    if program == "cmake":
        presets = {each["name"] for each in json.loads((root / "CMakePresets.json").read_text())["configurePresets"]}
        named = [words[i + 1] for i, word in enumerate(words) if word == "--preset"]
        return None if set(named) <= presets else f"there is no preset {' '.join(named)}"
    script = TRIED_BY.get(program)
    if script and re.search(rf"(?<![\w-]){re.escape(program)} ", (root / script).read_text()):
        return None
    return f"nothing runs such a command: {' '.join(words)}"
