"""Each operation of the chief header is defined in the file that its contents list names."""

import re

from sources import code_only, cpp_files

CHIEF_HEADER = "harvelstone/document/DocumentManager.hpp"
CLASS = "DocumentManager"

_FILE = re.compile(r"[a-z]+/\w+\.cpp")
_OPERATION = re.compile(r"(?<![\w~:.>])(~?\w+)\s*\((?=[^;{]*\)[^;{]*[;{])")
_VARIABLE = re.compile(r"^extern\b[^;]*?(\w+);", re.MULTILINE)
_DEFINITION = re.compile(rf"^[^\s#}}/][^=;{{}}]*?\b{CLASS}::(~?\w+)\s*\(|^{CLASS}::(~?\w+)\s*\(", re.MULTILINE)


def check(root):
    """One line for each disagreement between the header's lists and the source files."""
    header = root / CHIEF_HEADER
    if not header.exists():
        return [f"{CHIEF_HEADER} is missing"]
    lines = header.read_text(encoding="utf-8").splitlines()
    listed = _contents_list(lines)
    operations, variables = declarations(lines)
    if not listed or not operations:
        return [f"{CHIEF_HEADER} has no contents list or no operations"]

    headings = set(operations.values()) | set(variables.values())
    findings = [f"{CHIEF_HEADER}: {file} is a heading but not in the contents list" for file in sorted(headings - listed)]
    findings += [f"{CHIEF_HEADER}: {file} is listed but heads nothing" for file in sorted(listed - headings)]
    findings += [f"harvelstone/{file} is listed but missing" for file in sorted(listed) if not _source(root, file).exists()]
    findings += _check_operations(operations, _definitions(root))
    findings += _check_variables(root, variables)
    return findings


def _source(root, file):
    return root / "harvelstone" / file


def _contents_list(lines):
    files = set()
    for line in lines:
        if not line.startswith("//") and files:
            break
        if line.startswith("//") and (match := _FILE.search(line)):
            files.add(match.group())
    return files


def declarations(lines, public_only=False):
    """Operations and process-wide variables, each with the file that the heading above it names."""
    operations, variables = {}, {}
    for file, in_class, access, text in _stretches(lines):
        code = code_only(text)
        if not in_class:
            variables.update((match.group(1), file) for match in _VARIABLE.finditer(code))
        elif file and (access == "public" or not public_only):
            names = map(_declared_operation, re.findall(r"[^;{}]*[;{]", code))
            operations.update((name, file) for name in names if name)
    return operations, variables


def _stretches(lines):
    """The header from its namespace on, cut wherever heading, class or access changes."""
    stretches = []
    heading, in_class, access = None, False, "public"
    for line in lines[next(i for i, line in enumerate(lines) if line.startswith("namespace")) :]:
        stripped = line.strip()
        if re.match(rf"class {CLASS}\b.*{{", line):
            in_class, access = True, "private"
        elif line.startswith("};"):
            in_class = False
        elif stripped in ("public:", "private:"):
            access = stripped[:-1]
        elif stripped.startswith("//") and not stripped.startswith("///") and (match := _FILE.search(stripped)):
            heading = match.group()
        state = (heading, in_class, access)
        if not stretches or stretches[-1][0] != state:
            stretches.append((state, []))
        stretches[-1][1].append(line + "\n")
    return [(*state, "".join(text)) for state, text in stretches]


def _declared_operation(statement):
    if re.search(r"=\s*(delete|default)\s*;|^\s*(enum|class|struct|using)\b", statement):
        return None
    match = _OPERATION.search(statement)
    if not match or match.group(1).lstrip("~") == CLASS:
        return None
    return match.group(1)


def _definitions(root):
    """Operation name -> the files that define it."""
    found = {}
    for path in cpp_files(root, "harvelstone"):
        if path.suffix != ".cpp":
            continue
        code = code_only(path.read_text(encoding="utf-8"))
        for match in _DEFINITION.finditer(code):
            name = match.group(1) or match.group(2)
            found.setdefault(name, set()).add(path.relative_to(root / "harvelstone").as_posix())
    return found


def _check_operations(operations, definitions):
    for name, file in operations.items():
        files = definitions.get(name, set())
        if not files:
            yield f"{CLASS}::{name} is defined nowhere; the header names harvelstone/{file}"
        elif files != {file}:
            where = ", ".join(f"harvelstone/{other}" for other in sorted(files))
            yield f"{CLASS}::{name} is defined in {where}; the header names harvelstone/{file}"


def _check_variables(root, variables):
    for name, file in variables.items():
        source = _source(root, file) if file else None
        code = code_only(source.read_text(encoding="utf-8")) if source and source.exists() else ""
        if not re.search(rf"^[a-z][^=;{{}}()]*\b{name}\s*[;={{(]", code, re.MULTILINE):
            yield f"{name} is not defined in the file that its heading names, harvelstone/{file}"
