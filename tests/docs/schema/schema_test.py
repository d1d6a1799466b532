#!/usr/bin/env python3
"""Checks the schemas of docs/schema themselves, and that they find what is wrong."""

import copy
import json
import unittest

import schemas

INFO_WITHOUT_RECORD = {
    "document": "kxrtc.info", "version": 1, "folder": "x", "index_records": 0, "duration_us": 0, "recorded_us": 0,
    "files": {"index": 0, "video": 0, "audio": 0, "descriptor": 0}, "estimated_mp4_bytes": 0,
    "finding_counts": {"index.empty": 1}, "session_count": 0, "sessions": [], "switch_count": 0, "switches": [],
    "channels": [], "video_formats": [], "audio": {"adts": False, "mean_interval_us": 0}, "video_frames": 0,
    "audio_frames": 0, "key_frames": 0}
UP_TO_DATE = {"event": "up_to_date", "version": 1, "output": "a.mp4", "exit_status": 0}


class SchemaTest(unittest.TestCase):
    validators = schemas.Validators()

    def test_each_is_a_schema_and_carries_its_name(self):
        self.assertIn("kxrtc.verify", schemas.names())
        for name in schemas.names():
            schema = schemas.load(name)
            schemas.jsonschema.Draft202012Validator.check_schema(schema)
            self.assertEqual(schema["$id"], f"{name}.json")
            for line in schema.get("oneOf", [schema]):
                self.assertIn("version", line["required"])

    def test_the_page_of_the_documents_lists_each(self):
        page = (schemas.FOLDER.parent / "tool_records.md").read_text()
        for name in schemas.names():
            self.assertIn(f"(schema/{name}.json)", page)

    def test_accepts_what_is_right(self):
        self.assertEqual(self.validators.problems("kxrtc.info", INFO_WITHOUT_RECORD), [])
        self.assertEqual(self.validators.problems_of_output("kxrtc transcode --json", UP_TO_DATE), [])

    def test_finds_each_kind_of_mistake(self):
        mistakes = {"another version": ("version", 2), "a type": ("sessions", {}), "a negative count": ("video_frames", -1),
                    "an unknown member": ("colour", "red"), "an unknown finding": ("finding_counts", {"no.Code": 1})}
        for name, (member, value) in mistakes.items():
            with self.subTest(name):
                self.assertNotEqual(self.validators.problems("kxrtc.info", {**INFO_WITHOUT_RECORD, member: value}), [])
        for member in INFO_WITHOUT_RECORD:
            less = copy.deepcopy(INFO_WITHOUT_RECORD)
            del less[member]
            self.assertNotEqual(self.validators.problems("kxrtc.info", less), [], member)
        inner = copy.deepcopy(INFO_WITHOUT_RECORD)
        inner["audio"]["colour"] = "red"
        self.assertNotEqual(self.validators.problems("kxrtc.info", inner), [])

    def test_finds_mistakes_of_events(self):
        command = "kxrtc transcode --json a b"
        for value in ({**UP_TO_DATE, "event": "late"}, {**UP_TO_DATE, "colour": 1}, {"a": 1}, [],
                      {"document": "kxrtc.nothing", "version": 1}, {"event": "error", "message": "x"}):
            self.assertNotEqual(self.validators.problems_of_output(command, value), [], json.dumps(value))
        self.assertNotEqual(self.validators.problems_of_output("kxrtc info --json", UP_TO_DATE), [])

    def test_what_users_get_lets_members_be_added(self):
        later = {**INFO_WITHOUT_RECORD, "colour": "red"}
        schemas.jsonschema.validate(later, schemas.load("kxrtc.info"))


if __name__ == "__main__":
    unittest.main()
