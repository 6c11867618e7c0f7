"""The source files of a tree, and C++ text without what the checks must not look at."""

import re

CPP_SUFFIXES = {".cpp", ".hpp"}

_TOKEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/|R"(?P<mark>[^\s()\\]{0,16})\(.*?\)(?P=mark)"|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*'""",
    re.DOTALL,
)


def cpp_files(root, *folders):
    """The C++ files under the folders, in a fixed order."""
    for folder in folders:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in CPP_SUFFIXES:
                yield path


def code_only(text):
    """The text with comments and literals blanked out; every line stays on its line."""

    def blank(match):
        token = match.group()
        if token == "'" or is_digit_separator(match):
            return token
        return re.sub(r"[^\n]", " ", token)

    def is_digit_separator(match):
        return match.group().startswith("'") and text[match.start() - 1 : match.start()].isalnum()

    return _TOKEN.sub(blank, text)


def line_of(text, offset):
    return text.count("\n", 0, offset) + 1
