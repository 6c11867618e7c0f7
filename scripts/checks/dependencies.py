"""vcpkg.json, conanfile.py and CMake name the libraries that scripts/install-dependencies.sh installs."""

import json
import re

PACKAGES = "scripts/install-dependencies.sh"
# Debian package: vcpkg's port, Conan's recipe, and what CMake looks for.
LIBRARY = {
    "libasio-dev": ("asio", "asio", "ASIO_INCLUDE_DIR"),
    "libcurl4-openssl-dev": ("curl", "libcurl", "CURL"),
    "libfmt-dev": ("fmt", "fmt", "fmt"),
    "libsimdjson-dev": ("simdjson", "simdjson", "simdjson"),
    "uuid-dev": ("libuuid", "util-linux-libuuid", "uuid"),
    "zlib1g-dev": ("zlib", "zlib", "ZLIB"),
}
TOOLS = {
    "libcli11-dev": ("cli11", "cli11", "CLI11"),
    "libcpp-httplib-dev": ("cpp-httplib", "cpp-httplib", "cpp_httplib"),
}
TESTS = {
    "libgmock-dev": ("gtest", "gtest", "GTest"),
    "libgtest-dev": ("gtest", "gtest", "GTest"),
    "librapidcheck-dev": ("rapidcheck", "rapidcheck", "rapidcheck"),
    "libssl-dev": ("openssl", "openssl", "OpenSSL"),
    "nlohmann-json3-dev": ("nlohmann-json", "nlohmann_json", "nlohmann_json"),
}
CMAKE = {"library": "cmake/dependencies.cmake", "tools": "tools/CMakeLists.txt", "tests": "tests/CMakeLists.txt"}
NO_LIBRARIES = {"PkgConfig", "Python3", "Threads"}


def check(root):
    files = [root / PACKAGES, root / "vcpkg.json", root / "conanfile.py", *(root / file for file in CMAKE.values())]
    if not files[0].exists():
        return []
    if not all(file.exists() for file in files):
        return [f"{file.relative_to(root).as_posix()} is missing" for file in files if not file.exists()]
    script, vcpkg, conan, *cmake = (file.read_text(encoding="utf-8") for file in files)
    try:
        compile(conan, "conanfile.py", "exec")
    except SyntaxError as error:
        return [f"conanfile.py:{error.lineno}: {error.msg}"]
    findings = []
    for group, known in (("build", {**LIBRARY, **TOOLS}), ("test", TESTS)):
        findings += _differences(PACKAGES, group, _debian_packages(script, group), set(known))
    ports = _ports(json.loads(vcpkg))
    recipes = _recipes(conan)
    for (name, file), text, packages in zip(CMAKE.items(), cmake, (LIBRARY, TOOLS, TESTS)):
        known_ports, known_recipes, known_finds = map(set, zip(*packages.values()))
        findings += _differences("vcpkg.json", name, ports[name], known_ports)
        findings += _differences("conanfile.py", name, recipes[name], known_recipes)
        findings += _differences(file, name, _finds(text), known_finds)
    return findings


def _differences(file, group, named, known):
    lacking = [f"{file}: {name} is missing in {group}" for name in sorted(known - named)]
    return lacking + [f"{file}: {name} in {group} is not known to scripts/checks/dependencies.py" for name in sorted(named - known)]


def _debian_packages(script, group):
    packages = re.search(rf'\[{group}\]="([^"]*)"', script).group(1).split()
    return {package for package in packages if package.endswith("-dev")}


def _finds(text):
    """The names under which CMake looks for libraries."""
    return set(re.findall(r"^\s*(?:find_package|find_path|pkg_check_modules)\((\w+)", text, re.MULTILINE)) - NO_LIBRARIES


def _ports(manifest):
    def names(dependencies):
        return {each for each in dependencies if isinstance(each, str)}

    features = manifest["features"]
    return {"library": names(manifest["dependencies"]), "tools": names(features["tools"]["dependencies"]),
            "tests": names(features["tests"]["dependencies"])}


def _recipes(text):
    """The recipes by the condition that their line stands under."""
    recipes = {"library": set(), "tools": set(), "tests": set()}
    group = "library"
    for line in text.split("def requirements(self):")[1].split("\n    def ")[0].splitlines():
        if condition := re.match(r"\s+if self\.options\.(\w+)", line):
            group = condition.group(1)
        elif requirement := re.match(r'\s+self\.requires\("([^/]+)/', line):
            recipes[group].add(requirement.group(1))
    return recipes
