"""Plays a recording back on the model of the disk and stops after every operation."""

import posixpath

from crashlib.disk import File
from crashlib.paths import CONFIG_FOLDER, FACTORY_FOLDER, MODEL_FILE, MODULE_FOLDER


class Recording:
    """A run, operation by operation. After each one the caller may look at the disk.

    Marks: begin and end bound what counts; without them everything does. Between fixture-begin and fixture-end, on one
    thread, the test plays the host that lays out files: that is no operation and on the disk at once. What a program
    without any mark has saved must not be lost any more when it has ended.
    """

    def __init__(self, disk, events):
        self.disk = disk
        self.operations = 0
        self.timeline = Timeline(disk)
        self._events = list(events)
        self._positions = {}  # of the next write, by descriptor and inode
        self._appending = set()
        self._written = set()  # descriptor and inode
        self._fixtures = set()  # threads
        self._programs = {}  # by thread, of those that started another one
        marks = {event.mark() for event in self._events} - {None}
        self._counts = "begin" not in marks
        self._marked = bool(marks)

    def play(self):
        """Yields the text of each operation that counts, when it has been done."""
        yield "the start"
        for event in self._events:
            mark = event.mark()
            if mark:
                self._take_mark(event.thread, mark)
                if mark == "saved" and self._counts:
                    yield "saved"  # the same disk, but now nothing may be lost
                continue
            if event.result < 0:
                continue
            if event.call == "execve":
                self._programs[event.thread] = posixpath.basename(event.path(0))
                continue
            paths = self._do(event)
            if not paths:
                continue
            if event.thread in self._fixtures:
                self.disk.settle(paths)
                self.timeline.forget_durability()
            elif self._counts:
                self.operations += 1
                yield f"{event.call} {' '.join(paths)}"
        if not self._marked:
            self.timeline.saved()
            yield "the end"

    def _take_mark(self, thread, mark):
        if mark in ("begin", "end"):
            self._counts = mark == "begin"
            self.timeline.saved()
        elif mark == "saved":
            self.timeline.saved()
        elif mark == "fixture-begin":
            self._fixtures.add(thread)
        elif mark == "fixture-end":
            self._fixtures.discard(thread)

    # Each returns the paths that it changed; nothing for what lies outside or changes nothing.

    def _do(self, event):
        action = getattr(self, "_" + event.call, None)
        paths = action(event) if action else ()
        return [path for path in paths or () if self.disk.follows(path)]

    def _at(self, event, folder, name):
        _, base = event.descriptor(folder)
        return posixpath.normpath(posixpath.join(base or "/", event.path(name)))

    def _absolute(self, event, index):
        return posixpath.normpath(posixpath.join("/", event.path(index)))

    def _opened(self, event, path, flags):
        if not self.disk.follows(path):
            return ()
        changed = ()
        inode = self.disk.inode(path)
        if inode is None:
            inode = self.disk.create(path)
            changed = (path,)
        elif "O_TRUNC" in flags and isinstance(inode, File) and inode.content:
            inode.change(b"")
            changed = (path,)
        key = (event.result, inode)
        self._positions[key] = 0
        self._appending.discard(key)
        self._written.discard(key)
        if "O_APPEND" in flags:
            self._appending.add(key)
        return changed

    def _openat(self, event):
        return self._opened(event, self._at(event, 0, 1), event.arguments[2])

    def _open(self, event):
        return self._opened(event, self._absolute(event, 0), event.arguments[1])

    def _creat(self, event):
        return self._opened(event, self._absolute(event, 0), "O_TRUNC")

    def _file(self, event):
        number, path = event.descriptor()
        if not self.disk.follows(path):
            return None, None, path
        return number, self.disk.inode(path), path

    def _put(self, event, data, position=None):
        number, inode, path = self._file(event)
        if not isinstance(inode, File):
            return ()
        data = data[:event.result]
        key = (number, inode)
        if position is None:
            position = len(inode.content) if key in self._appending else self._positions.get(key, 0)
            self._positions[key] = position + len(data)
        old = inode.content.ljust(position, b"\0")
        inode.change(old[:position] + data + old[position + len(data):])
        self._written.add(key)
        return (path,)

    def _write(self, event):
        return self._put(event, event.data(1))

    def _writev(self, event):
        return self._put(event, event.data(1))

    def _pwrite64(self, event):
        return self._put(event, event.data(1), event.number(3))

    def _pwritev(self, event):
        return self._put(event, event.data(1), event.number(3))

    _pwritev2 = _pwritev

    def _lseek(self, event):
        number, inode, _ = self._file(event)
        if inode is not None:
            self._positions[(number, inode)] = event.result
        return ()

    def _ftruncate(self, event):
        number, inode, path = self._file(event)
        return self._cut(inode, path, event.number(1))

    def _truncate(self, event):
        path = self._absolute(event, 0)
        return self._cut(self.disk.inode(path), path, event.number(1)) if self.disk.follows(path) else ()

    def _cut(self, inode, path, length):
        if isinstance(inode, File) and len(inode.content) != length:
            inode.change(inode.content[:length].ljust(length, b"\0"))
            return (path,)
        return ()

    # Who closes a file that stands under its final name has said that it is complete and saved.
    def _close(self, event):
        number, inode, path = self._file(event)
        if (number, inode) in self._written:
            self._written.discard((number, inode))
            self.timeline.completed(path, inode)
            self.timeline.saved(path)
            return (path,)
        return ()

    def _moved(self, source, target):
        follows = [self.disk.follows(path) for path in (source, target)]
        if not any(follows):
            return ()
        if not all(follows):
            raise ValueError(f"moved in or out of the tree: {source} to {target}")
        self.disk.rename(source, target)
        self.timeline.completed(target, self.disk.inode(target))
        return (source, target)

    def _rename(self, event):
        return self._moved(self._absolute(event, 0), self._absolute(event, 1))

    def _renameat(self, event):
        return self._moved(self._at(event, 0, 1), self._at(event, 2, 3))

    _renameat2 = _renameat

    # Settings are deleted on purpose by a shell command only. A store that takes the old file away before the new one
    # is in its place has no purpose.
    def _removed(self, event, path):
        if self.disk.follows(path):
            self.disk.remove(path)
            if self._programs.get(event.thread) == "rm":
                self.timeline.removed(path)
        return (path,)

    def _unlink(self, event):
        return self._removed(event, self._absolute(event, 0))

    _rmdir = _unlink

    def _unlinkat(self, event):
        return self._removed(event, self._at(event, 0, 1))

    def _made(self, path):
        if self.disk.follows(path):
            self.disk.make_folder(path)
        return (path,)

    def _mkdir(self, event):
        return self._made(self._absolute(event, 0))

    def _mkdirat(self, event):
        return self._made(self._at(event, 0, 1))

    def _link(self, event):
        source, target = self._absolute(event, 0), self._absolute(event, 1)
        if self.disk.follows(target):
            self.disk.link(source, target)
        return (target,)

    def _fsync(self, event):
        _, path = event.descriptor()
        self.disk.sync(path)
        return (path,)

    _fdatasync = _fsync

    def _sync(self, event):
        self.disk.sync_all()
        return (self.disk.roots[0],)

    _syncfs = _sync

    # Nothing here makes such links; a model without them must not look right all the same.
    def _symlink(self, event):
        return self._refuse(self._absolute(event, 1))

    def _symlinkat(self, event):
        return self._refuse(self._at(event, 1, 2))

    def _linkat(self, event):
        return self._refuse(self._at(event, 2, 3))

    def _refuse(self, path):
        if self.disk.follows(path):
            raise ValueError(f"{path}: links are not in the model of the disk")
        return ()


class Timeline:
    """What stood complete under each name that is kept, and since when it must not be lost any more."""

    ABSENT = None

    def __init__(self, disk):
        self._disk = disk
        self._contents = {}  # by path, oldest first
        self._floor = {}     # by path, index of the oldest content that is still right

    def take_over(self):
        """What the tree holds before the first operation is complete."""
        for path, inode in self._disk.walk():
            if is_kept(path):
                self._contents[path] = [inode.content]
        self.saved()

    def completed(self, path, inode):
        if is_kept(path) and isinstance(inode, File):
            self._list(path).append(inode.content)

    def removed(self, path):
        if is_kept(path):
            self._list(path).append(self.ABSENT)

    def saved(self, path=None):
        for name in [path] if path else list(self._contents):
            if name in self._contents:
                self._floor[name] = len(self._contents[name]) - 1

    def forget_durability(self):
        """The fixture has replaced files behind the programs' back: what is there now is right."""
        tree = {path: inode.content for path, inode in self._disk.walk() if is_kept(path)}
        for path in set(tree) | set(self._contents):
            contents = self._list(path)
            if contents[-1] != tree.get(path, self.ABSENT):
                contents.append(tree.get(path, self.ABSENT))
                self._floor[path] = len(contents) - 1

    def paths(self):
        return self._contents.keys()

    def allowed(self, path):
        """The contents that a power cut may leave under a name; ABSENT among them where it may be missing."""
        contents = self._contents.get(path, [self.ABSENT])
        return contents[self._floor.get(path, 0):]

    def ever(self, path):
        return self._contents.get(path, [self.ABSENT])

    def _list(self, path):
        return self._contents.setdefault(path, [self.ABSENT])


_DOCUMENT_FOLDERS = (MODULE_FOLDER + "/", FACTORY_FOLDER + "/")


def is_kept(path):
    """Files that are old or new, and nothing else: settings, documents, and the model that a host remembers."""
    return (is_setting(path) or path == MODEL_FILE
            or path.startswith(_DOCUMENT_FOLDERS) and path.endswith((".xml", ".ini")))


def is_setting(path):
    return path.startswith(CONFIG_FOLDER + "/s") and path.endswith(".cfg")
