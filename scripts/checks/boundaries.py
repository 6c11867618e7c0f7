"""The machine is reached through platform/ alone, includes point one way, and other libraries stay in source files."""

import re

from sources import code_only, cpp_files, line_of

# What each folder may include of ours, besides itself.
_COMPONENT_BASE = {"platform", "services", "document"}
ALLOWED = {
    "platform": set(),
    "services": {"platform"},
    "document": {"platform", "services"},
    "session": _COMPONENT_BASE,
    "records": _COMPONENT_BASE,
    "transmit": _COMPONENT_BASE,
    "housekeeping": _COMPONENT_BASE,
    "api": _COMPONENT_BASE | {"session", "records", "transmit", "housekeeping"},
}

# The machine, by what is included ...
MACHINE_HEADERS = re.compile(
    r"filesystem|fstream|thread|stop_token|future|semaphore|latch|barrier|random|cstdio|stdio\.h|ctime|time\.h|csignal|signal\.h"
    r"|unistd\.h|fcntl\.h|dirent\.h|pthread\.h|poll\.h|spawn\.h|netdb\.h|ifaddrs\.h|(?:sys|arpa|netinet|net|linux)/.*"
    r"|uuid/.*|curl/.*|asio(?:\.hpp|/.*)|httplib\.h"
)
# ... and by what is called. A call of another object's member, or of a name in one of our namespaces, is no such call.
_FREE = r"(?<![\w.:>])(?:::|std::)?"
MACHINE_CALLS = {
    "clock": re.compile(
        r"\b(?:system|steady|high_resolution|utc|file)_clock::(?:now|to_time_t)\b"
        rf"|{_FREE}(?:time|clock|gettimeofday|clock_gettime|localtime(?:_r)?|gmtime(?:_r)?|mktime|timegm)\s*\("
    ),
    "file": re.compile(
        r"\bstd::(?:[io]?fstream|basic_[io]?fstream|filesystem)\b"
        rf"|{_FREE}(?:open|openat|creat|fopen|fdopen|freopen|tmpfile|mkstemp|unlink|unlinkat|rename|mkdir|rmdir|opendir"
        rf"|stat|fstat|lstat|access|fsync|fdatasync|flock|ftruncate|truncate|pread|pwrite)\s*\("
    ),
    "thread": re.compile(
        r"\bstd::(?:jthread|thread|async|this_thread)\b|\bpthread_\w+"
        rf"|{_FREE}(?:sleep|usleep|nanosleep|fork|vfork|posix_spawn|system|popen)\s*\("
    ),
    "socket": re.compile(rf"{_FREE}(?:socket|connect|bind|listen|accept|getaddrinfo|gethostbyname|getifaddrs)\s*\("),
    "random": re.compile(
        r"\bstd::(?:random_device|mt19937(?:_64)?|default_random_engine)\b"
        rf"|{_FREE}(?:rand|srand|random|srandom|drand48|getrandom|getentropy|arc4random)\s*\("
    ),
}

STANDARD_HEADERS = set(
    """algorithm any array atomic barrier bit bitset cassert cctype cerrno cfloat charconv chrono cinttypes climits
    cmath compare complex concepts condition_variable coroutine csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib
    cstring ctime cwchar deque exception filesystem forward_list fstream functional future initializer_list iomanip ios
    iosfwd iostream istream iterator latch limits list locale map memory memory_resource mutex new numbers numeric
    optional ostream queue random ranges ratio regex scoped_allocator semaphore set shared_mutex source_location span
    sstream stack stdexcept stop_token streambuf string string_view syncstream system_error thread tuple type_traits
    typeindex typeinfo unordered_map unordered_set utility valarray variant vector version""".split()
)

# platform/ speaks with the system, so its headers may hold the system's types.
_SYSTEM_HEADERS = re.compile(r"(?:sys/\w+|signal|unistd|fcntl|poll|pthread|time)\.h")

_INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?:<(?P<system>[^>\n]+)>|"(?P<own>[^"\n]+)")', re.MULTILINE)


def check(root):
    """One line for each place that breaks a rule."""
    findings = []
    for path in cpp_files(root, "harvelstone"):
        name = path.relative_to(root).as_posix()
        folder = path.relative_to(root / "harvelstone").parts[0]
        if folder not in ALLOWED:
            findings.append(f"{name}: harvelstone/ has no folder for it")
            continue
        text = path.read_text(encoding="utf-8")
        for line, what in _breaches(text, folder, path.suffix == ".hpp"):
            findings.append(f"{name}:{line}: {what}")
    return findings


def _breaches(text, folder, is_header):
    for match in _INCLUDE.finditer(text):
        what = _own_include(match["own"], folder) if match["own"] else _system_include(match["system"], folder, is_header)
        if what:
            yield line_of(text, match.start()), what
    if folder == "platform":
        return
    code = code_only(text)
    for kind, pattern in MACHINE_CALLS.items():
        for match in pattern.finditer(code):
            yield line_of(code, match.start()), f"a {kind} call outside platform/: {match.group().strip()}"


def _own_include(name, folder):
    parts = name.split("/")
    if parts[0] != "harvelstone" or len(parts) < 3:
        return f'"{name}" is not included by its path from the top of the tree'
    if parts[1] != folder and parts[1] not in ALLOWED[folder]:
        return f'{folder}/ must not include "{name}"'
    return None


def _system_include(name, folder, is_header):
    is_of_system = folder == "platform" and _SYSTEM_HEADERS.fullmatch(name)
    if is_header and name not in STANDARD_HEADERS and not is_of_system:
        return f"<{name}> belongs into a source file: headers include no other library"
    if folder != "platform" and MACHINE_HEADERS.fullmatch(name):
        return f"<{name}> gives access to the machine outside platform/"
    return None
