"""docs/upload.schema.json by itself: it says what the protocol's page says, and finds what is wrong."""

import copy
import json
import re

import harness
import upload_schema

PAGE = (upload_schema.SCHEMA_FILE.parent / "protocol.md").read_text(encoding="utf-8")
REMOVED = object()
TYPES = {"text": {"string"}, "text or number": {"string", "number"}, "integer": {"integer"}, "double": {"number"},
         "number": {"number"}, "boolean": {"boolean"}, "list of texts": {"array"},
         "any": {"string", "number", "boolean", "array", "object"}, "object": {"object"}, "list of objects": {"array"},
         "any but null": {"string", "number", "boolean", "array", "object"}}


def chapter(heading):
    return PAGE.split(f"\n## {heading}\n")[1].split("\n## ")[0]


def example(heading):
    return json.loads(chapter(heading).split("```json\n")[1].split("```")[0])


def rows(heading):
    """The type of each member in the chapter's table."""
    return dict(re.findall(r"^\| `(\w+)` \|(?: `\w+` \|)? ([a-z ]+) \|", chapter(heading), re.MULTILINE))


def resolved(member):
    schema = upload_schema.schema()
    return {**member, **schema["$defs"][member["$ref"].rsplit("/", 1)[1]]} if "$ref" in member else member


def types(member):
    """The JSON types that a member's schema allows."""
    member = resolved(member)
    names = {str: "string", bool: "boolean"}
    if "const" in member or "enum" in member:
        return {names[type(value)] for value in member.get("enum", [member.get("const")])}
    return {member["type"]} if isinstance(member["type"], str) else set(member["type"])


def changed(value, changes):
    """A copy with other values at the paths, or without them."""
    value = copy.deepcopy(value)
    for path, new in changes.items():
        *steps, last = [int(each) if each.isdigit() else each for each in path.split("/")]
        parent = value
        for each in steps:
            parent = parent[each]
        if new is REMOVED:
            del parent[last]
        else:
            parent[last] = new
    return value


class Schema(harness.Case):
    def setUp(self):
        super().setUp()
        self.document = example("A complete document")
        self.immediate = {**example("Immediate uploads"), "session": self.document["session"]}

    def test_is_one(self):
        from jsonschema import Draft202012Validator

        Draft202012Validator.check_schema(upload_schema.schema())

    def test_takes_the_examples_of_the_protocols_page(self):
        self.assertEqual(upload_schema.faults(self.document), [])
        self.assertEqual(upload_schema.faults(self.immediate), [])
        self.assertEqual(upload_schema.faults(example("Reply"), "reply"), [])

    def test_has_the_members_of_the_protocols_page_with_their_types(self):
        for heading, definition in (("Document", "document"), ("Session", "session"), ("Reply", "reply")):
            members = upload_schema.schema()["$defs"][definition]["properties"]
            written = rows(heading)
            self.assertEqual(set(members), set(written))
            for name, member in members.items():
                self.assertEqual(types(member), TYPES[written[name]], name)

    def test_wants_every_member_that_is_always_there(self):
        session = upload_schema.schema()["$defs"]["session"]
        self.assertEqual(set(session["properties"]) - set(session["required"]),
                         {"imei", "app_open", "visit_new_server_time", "sdk_version"})
        document = upload_schema.schema()["$defs"]["document"]
        self.assertEqual(set(document["properties"]) - set(document["required"]), {"push"})
        for name in session["required"]:
            self.assert_found(self.document, {"session/" + name: REMOVED}, f"$.session: '{name}' is a required property")

    def assert_found(self, upload, changes, fault):
        found = upload_schema.faults(changed(upload, changes))
        self.assertTrue([each for each in found if each.startswith(fault)], f"{changes}: {found}")

    def test_takes_what_may_be_otherwise(self):
        nothing = {"goal": [], "pages": [], "click": [], "revenue": []}
        for changes in ({"session/imei": REMOVED, "session/app_open": REMOVED, "session/visit_new_server_time": REMOVED},
                        nothing, {**nothing, "push": REMOVED, "click": self.document["click"]}, {"postback": {}},
                        {"session/visit_new": "Y", "session/visit_new_server_time": REMOVED, **nothing, "push": REMOVED},
                        {"session/lifetime_visit_interval": -3.0}, {"session/age": 34}, {"goal/0/g3": REMOVED},
                        {"push": {"whole": "hand"}}, {"click/0/own": None}):
            self.assertEqual(upload_schema.faults(changed(self.document, changes)), [], changes)
        for changes in ({"session/sdk_version": REMOVED}, {"goal/0/own": [1]}):
            self.assertEqual(upload_schema.faults(changed(self.immediate, changes)), [], changes)

    def test_finds_what_is_wrong_with_a_document(self):
        for changes, fault in (
                ({"note": 1}, "$: Additional properties are not allowed"),
                ({"postback": REMOVED}, "$: 'postback' is a required property"),
                ({"retry_count": 0}, "$.retry_count: 0 is less than the minimum"),
                ({"retry_count": "1"}, "$.retry_count: '1' is not of type"),
                ({"goal": {}}, "$.goal: {} is not of type"),
                ({"click/0": "buy"}, "$.click[0]: 'buy' is not of type"),
                ({"click/0/sdk_version": REMOVED}, "$.click[0]: 'sdk_version' is a required property"),
                ({"revenue/0/visit_time": "yesterday"}, "$.revenue[0].visit_time: 'yesterday' does not match"),
                ({"pages/0/page_views": "2"}, "$.pages[0].page_views: '2' is not of type"),
                ({"pages/0/page_views": REMOVED}, "$.pages[0]: "),
                ({"goal/0/g3": 0.5}, "$.goal[0].g3: 0.5 is not of type"),
                ({"goal/0/g4": 1}, "$.goal[0]: "),
                ({"goal/0/price": 1}, "$.goal[0]: "),
                ({"push": {}}, "$.push: "),
                ({"goal": [], "pages": [], "click": [], "revenue": [], "push": REMOVED}, "$: ")):
            self.assert_found(self.document, changes, fault)

    def test_finds_what_is_wrong_with_a_session(self):
        for member, value, fault in (
                ("colour", "red", ": Additional properties are not allowed"),
                ("sdk_version", REMOVED, ": 'sdk_version' is a required property"),
                ("sdk_version", "21.2.55", ".sdk_version: '21.2.54' was expected"),
                ("visit_new", "y", ".visit_new: 'y' is not one of"),
                ("visit_new", "Y", ": "),
                ("unique_visit", 3, ".unique_visit: 0 was expected"),
                ("weekly_unique_user", "Y", ".weekly_unique_user: 'N' was expected"),
                ("visit_time", "2016-13-16T01:20:00+00:00", ".visit_time: "),
                ("sid", "8a64d0a1d3f94b6f9e0d5c7b21a3e8f0", ".sid: "),
                ("slot_no", 0, ".slot_no: "),
                ("create_time", 0, ".create_time: "),
                ("debug", 0, ".debug: "),
                ("app_open", False, ".app_open: "),
                ("age", True, ".age: "),
                ("user_id", None, ".user_id: "),
                ("source_trace", ["mail", 1], ".source_trace[1]: ")):
            self.assert_found(self.document, {"session/" + member: value}, "$.session" + fault)

    def test_finds_what_is_wrong_with_an_immediate_upload(self):
        for changes, fault in (({"goal": REMOVED}, "$: "), ({"goal": []}, "$.goal: "), ({"session": REMOVED}, "$: "),
                               ({"goal": REMOVED, "push": {}}, "$: Additional properties are not allowed"),
                               ({"goal/0/visit_time": REMOVED}, "$.goal[0]: 'visit_time' is a required property"),
                               ({"goal": REMOVED, "click": [{}, {}]}, "$.click: ")):
            self.assert_found(self.immediate, changes, fault)

    def test_finds_what_has_no_effect_in_a_reply(self):
        for reply, fault in (({"retries": True}, "$: "), ({"retry": 1}, "$.retry: "), ({"wait_seconds": -1}, "$.wait_seconds: "),
                             ({"visit_new_server_time": None}, "$.visit_new_server_time: "), ([], "$: ")):
            self.assertTrue([each for each in upload_schema.faults(reply, "reply") if each.startswith(fault)], reply)


if __name__ == "__main__":
    harness.main()
