#!/usr/bin/env python3
"""The model of the disk against the rules that it claims to follow."""

import os
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from crashlib.disk import Blobs, Disk, File  # noqa: E402
from crashlib.paths import scheme_file  # noqa: E402
from crashlib.recording import Recording  # noqa: E402
from crashlib.trace import Event  # noqa: E402

OLD, NEW = b"old " * 200, b"new " * 200
PATH, STAGED = "/mnt/file", "/mnt/file.new"


class PowerCut(unittest.TestCase):
    def setUp(self):
        self.blobs = Blobs()
        self.disk = Disk(("/mnt",), self.blobs)
        self.disk.load({PATH: OLD})

    def states(self, full_subsets=6):
        """Contents by path, folders left out."""
        for state in set(self.disk.states(full_subsets)):
            yield {path: self.blobs.by_name[name] for path, name in state if name is not None}

    def contents(self):
        """All that can stand under PATH; None where it can be missing."""
        return {state.get(PATH) for state in self.states()}

    def stage(self, content):
        self.disk.create(STAGED).change(content)

    def test_nothing_happens_to_what_is_on_the_disk(self):
        self.assertEqual(list(self.states()), [{PATH: OLD}])

    def test_an_overwritten_file_can_be_torn_short_and_zero(self):
        self.disk.inode(PATH).change(b"")
        self.disk.inode(PATH).change(NEW)
        found = self.contents()
        self.assertLessEqual({OLD, b"", NEW, bytes(len(NEW)), NEW[:512], NEW[:512] + OLD[512:], OLD[:512] + NEW[512:],
                              NEW[:512] + bytes(len(NEW) - 512)}, found)

    def test_a_file_is_whole_after_its_fsync(self):
        self.disk.inode(PATH).change(NEW)
        self.disk.sync(PATH)
        self.assertEqual(self.contents(), {NEW})

    def test_a_rename_can_reach_the_disk_before_the_data(self):
        self.stage(NEW)
        self.disk.rename(STAGED, PATH)
        self.assertLessEqual({OLD, NEW, b""}, self.contents())

    def test_a_rename_is_old_or_new_after_fsync_of_the_file(self):
        self.stage(NEW)
        self.disk.sync(STAGED)
        self.disk.rename(STAGED, PATH)
        self.assertEqual(self.contents(), {OLD, NEW})

    def test_a_rename_is_done_after_fsync_of_the_folder(self):
        self.stage(NEW)
        self.disk.sync(STAGED)
        self.disk.rename(STAGED, PATH)
        self.disk.sync("/mnt")
        self.assertEqual(list(self.states()), [{PATH: NEW}])

    def test_a_removed_file_can_come_back_and_a_new_one_be_lost(self):
        self.disk.remove(PATH)
        self.stage(NEW)
        self.disk.sync(STAGED)
        self.assertEqual({frozenset(state) for state in self.states()},
                         {frozenset(), frozenset({PATH}), frozenset({STAGED}), frozenset({PATH, STAGED})})

    def test_a_lost_folder_takes_its_files_along(self):
        self.disk.make_folder("/mnt/sub")
        self.disk.create("/mnt/sub/file").change(NEW)
        self.disk.sync("/mnt/sub/file")
        self.disk.sync("/mnt/sub")
        self.assertEqual({state.get("/mnt/sub/file") for state in self.states()}, {None, NEW})
        self.disk.sync("/mnt")
        self.assertEqual({state.get("/mnt/sub/file") for state in self.states()}, {NEW})

    def test_of_many_steps_every_beginning_each_alone_and_each_lost_is_tried(self):
        for number in range(5):
            self.disk.create(f"/mnt/{number}")
        found = {"".join(sorted(path[-1] for path in state if path != PATH)) for state in self.states(full_subsets=4)}
        self.assertEqual(found, {"", "0", "01", "012", "0123", "01234", "1234", "0234", "0134", "0124", "1", "2", "3",
                                 "4"})

    def test_an_append_is_torn_behind_what_was_there(self):
        self.disk.inode(PATH).change(OLD + NEW)
        cut = (len(OLD) // 512 + 1) * 512
        self.assertLessEqual({OLD, OLD + bytes(len(NEW)), (OLD + NEW)[:cut]}, self.contents())

    def test_the_programs_see_the_newest_tree(self):
        self.stage(NEW)
        self.disk.rename(STAGED, PATH)
        self.assertIsInstance(self.disk.inode(PATH), File)
        self.assertEqual(self.disk.tree(), {"/mnt": None, PATH: NEW})


class Recorded(unittest.TestCase):
    """What must not be lost, and since when."""

    TARGET = scheme_file(0)

    def setUp(self):
        disk = Disk(("/mnt",), Blobs())
        folders = ["/mnt/mtd", "/mnt/mtd/code", os.path.dirname(self.TARGET)]
        disk.load({**dict.fromkeys(folders), self.TARGET: OLD, STAGED: NEW})
        self.disk = disk

    def allowed_after(self, *events):
        """By operation what may stand under TARGET after a power cut."""
        recording = Recording(self.disk, events)
        recording.timeline.take_over()
        return [(operation.split()[0], recording.timeline.allowed(self.TARGET)) for operation in recording.play()]

    def call(self, name, *paths):
        quoted = ['"' + "".join(f"\\x{byte:02x}" for byte in path.encode()) + '"' for path in paths]
        return Event(1, name, quoted, 0)

    def mark(self, name):
        return self.call("access", "/trace-mark/" + name)

    def test_a_renamed_file_may_be_the_old_one_until_the_save_has_returned(self):
        rename = self.call("rename", STAGED, self.TARGET)
        allowed = self.allowed_after(self.mark("begin"), rename, self.mark("saved"))
        self.assertEqual(allowed, [("the", [OLD]), ("rename", [OLD, NEW]), ("saved", [NEW])])

    def test_what_a_program_without_marks_saved_must_be_there_after_its_end(self):
        allowed = self.allowed_after(self.call("rename", STAGED, self.TARGET))
        self.assertEqual(allowed, [("the", [OLD]), ("rename", [OLD, NEW]), ("the", [NEW])])


if __name__ == "__main__":
    unittest.main()
