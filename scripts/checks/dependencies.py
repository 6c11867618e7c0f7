"""vcpkg.json and conanfile.py name the libraries that scripts/install-dependencies.sh installs."""

import json
import re

PACKAGES = "scripts/install-dependencies.sh"
# Debian package: vcpkg's port and Conan's recipe.
LIBRARY = {
    "libasio-dev": ("asio", "asio"),
    "libcurl4-openssl-dev": ("curl", "libcurl"),
    "libfmt-dev": ("fmt", "fmt"),
    "libsimdjson-dev": ("simdjson", "simdjson"),
    "uuid-dev": ("libuuid", "util-linux-libuuid"),
    "zlib1g-dev": ("zlib", "zlib"),
}
TOOLS = {
    "libcli11-dev": ("cli11", "cli11"),
    "libcpp-httplib-dev": ("cpp-httplib", "cpp-httplib"),
}
TESTS = {
    "libgmock-dev": ("gtest", "gtest"),
    "libgtest-dev": ("gtest", "gtest"),
    "librapidcheck-dev": ("rapidcheck", "rapidcheck"),
    "libssl-dev": ("openssl", "openssl"),
    "nlohmann-json3-dev": ("nlohmann-json", "nlohmann_json"),
}


def check(root):
    files = [root / PACKAGES, root / "vcpkg.json", root / "conanfile.py"]
    if not files[0].exists():
        return []
    if not all(file.exists() for file in files):
        return [f"{file.relative_to(root).as_posix()} is missing" for file in files if not file.exists()]
    script, vcpkg, conan = (file.read_text(encoding="utf-8") for file in files)
    findings = []
    for group, known in (("build", {**LIBRARY, **TOOLS}), ("test", TESTS)):
        findings += _differences(PACKAGES, group, _debian_packages(script, group), set(known))
    ports = _ports(json.loads(vcpkg))
    recipes = _recipes(conan)
    for name, packages in (("library", LIBRARY), ("tools", TOOLS), ("tests", TESTS)):
        findings += _differences("vcpkg.json", name, ports[name], {port for port, _ in packages.values()})
        findings += _differences("conanfile.py", name, recipes[name], {recipe for _, recipe in packages.values()})
    return findings


def _differences(file, group, named, known):
    lacking = [f"{file}: {name} is missing in {group}" for name in sorted(known - named)]
    return lacking + [f"{file}: {name} in {group} is not known to scripts/checks/dependencies.py" for name in sorted(named - known)]


def _debian_packages(script, group):
    packages = re.search(rf'\[{group}\]="([^"]*)"', script).group(1).split()
    return {package for package in packages if package.endswith("-dev")}


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
