"""A file tree twice: as its programs see it, and as a power cut may leave it.

The rules, which are what POSIX promises and no more:
  - The data of a file is on the disk after fsync of the file. Before, any of its bytes since the last fsync may be
    there or not: the old contents, any of the contents in between, the new length with zeros, a part of the sectors.
  - A name (created, renamed, removed) is on the disk after fsync of its directory. Before, each of these steps may be
    there or not, whatever became of the others. A rename is one step: never both names, never none.
  - fsync of a file does not bring its name to the disk, and fsync of a directory no data.
"""

import hashlib
import itertools
import posixpath

SECTOR = 512
PAGE = 4096
TORN_MAX = 12    # places at which the contents of one file are torn
BETWEEN_MAX = 3  # contents between the last fsync and the newest ones: a log is written and never synced


class Blobs:
    """Contents by their name, so that a state is small and two states are compared by their names."""

    def __init__(self):
        self.by_name = {}
        self._names = {}

    def name(self, content):
        name = self._names.get(content)
        if name is None:
            name = hashlib.sha1(content).hexdigest()
            self._names[content] = name
            self.by_name[name] = content
        return name


class File:
    def __init__(self, content=b""):
        self.content = content
        self.on_disk = content
        self.between = []  # contents since the last fsync, the newest last

    def change(self, content):
        self.content = content
        self.between.append(content)

    def sync(self):
        self.on_disk = self.content
        self.between = []

    def after_cut(self):
        """All contents that a power cut can leave, the oldest first and the newest second."""
        found = dict.fromkeys([self.on_disk, self.content])
        if self.between:
            found.update(dict.fromkeys(self.between[-BETWEEN_MAX:]))
            found.update(dict.fromkeys(_torn(self._before(), self.content)))
        return list(found)

    def _before(self):
        """What the newest contents are torn with: after an append the contents before it, else what the disk has."""
        before = self.between[-2] if len(self.between) > 1 else self.on_disk
        return before if before and self.content.startswith(before) else self.on_disk


def _torn(old, new):
    """Parts of the new contents with the old ones, with zeros and with nothing in place of the rest."""
    longest = max(len(old), len(new))
    zeros = bytes(len(new))
    yield zeros
    if len(new) > len(old):
        yield old + zeros[len(old):]
    kept = len(old) if old and new.startswith(old) else 0
    step = SECTOR if longest - kept <= TORN_MAX * SECTOR else PAGE
    cuts = list(range(kept - kept % step + step, longest, step))
    if len(cuts) > TORN_MAX:
        cuts = cuts[:TORN_MAX // 2] + cuts[-(TORN_MAX // 2):]
    for cut in cuts:
        yield new[:cut]
        yield (new[:cut] + old[cut:])[:longest]
        yield new[:cut] + zeros[cut:]
        yield (old[:cut] + zeros[len(old):cut]) + new[cut:]
    for cut in (len(new) // 2 | 1, 4):  # a file system that counts bytes
        if cut < len(new):
            yield new[:cut]


class Folder:
    def __init__(self):
        self.names = {}    # as programs see them
        self.on_disk = {}  # as the disk has them


class Step:
    """Names that change together: of each folder, name and new inode, None when the name goes."""

    def __init__(self, changes):
        self.changes = changes

    def apply_to(self, names_of):
        for folder, name, inode in self.changes:
            names = names_of(folder)
            if inode is None:
                names.pop(name, None)
            else:
                names[name] = inode

    def folders(self):
        return {folder for folder, _, _ in self.changes}


class Disk:
    """roots: the folders that are followed; whatever lies elsewhere is ignored."""

    def __init__(self, roots, blobs):
        self.blobs = blobs
        self.root = Folder()
        self.pending = []  # steps that may not be on the disk, in their order
        self.roots = roots
        for root in roots:
            self.root.names[root.strip("/")] = self.root.on_disk[root.strip("/")] = Folder()

    # ---- what programs do ----------------------------------------------------------------------------------

    def follows(self, path):
        return any(path == root or path.startswith(root + "/") for root in self.roots)

    def inode(self, path):
        here = self.root
        for part in path.strip("/").split("/"):
            if not isinstance(here, Folder):
                return None
            here = here.names.get(part)
        return here

    def create(self, path):
        inode = File()
        self._step([(path, inode)])
        return inode

    def make_folder(self, path):
        self._step([(path, Folder())])

    def remove(self, path):
        self._step([(path, None)])

    def rename(self, source, target):
        self._step([(source, None), (target, self.inode(source))])

    def link(self, source, target):
        self._step([(target, self.inode(source))])

    def sync(self, path):
        inode = self.inode(path)
        if isinstance(inode, File):
            inode.sync()
        elif inode is not None:
            self._sync_folder(inode)

    def sync_all(self):
        for step in self.pending:
            step.apply_to(lambda folder: folder.on_disk)
        self.pending = []
        for _, inode in self.walk():
            if isinstance(inode, File):
                inode.sync()

    def settle(self, paths):
        """Brings these names and what stands under them to the disk."""
        for path in paths:
            self.sync(posixpath.dirname(path))
            self.sync(path)

    def _step(self, changes):
        step = Step([(self.inode(posixpath.dirname(path)), posixpath.basename(path), inode)
                     for path, inode in changes])
        if any(not isinstance(folder, Folder) for folder in step.folders()):
            raise ValueError(f"no folder for {[path for path, _ in changes]}")
        step.apply_to(lambda folder: folder.names)
        self.pending.append(step)

    def _sync_folder(self, folder):
        for step in self.pending:
            if folder in step.folders():
                step.apply_to(lambda which: which.on_disk)
        self.pending = [step for step in self.pending if folder not in step.folders()]

    # ---- whole trees ---------------------------------------------------------------------------------------

    def load(self, tree):
        """Takes over a tree, by path None for a folder and bytes for a file, as it lies on the disk."""
        for path in sorted(tree):
            if self.inode(path) is None:
                if tree[path] is None:
                    self.make_folder(path)
                else:
                    self.create(path).change(tree[path])
        self.sync_all()

    def walk(self, names_of=lambda folder: folder.names):
        stack = [("", self.root)]
        while stack:
            prefix, folder = stack.pop()
            for name, inode in names_of(folder).items():
                path = f"{prefix}/{name}"
                yield path, inode
                if isinstance(inode, Folder):
                    stack.append((path, inode))

    def tree(self):
        return {path: inode.content if isinstance(inode, File) else None for path, inode in self.walk()}

    # ---- power cuts ----------------------------------------------------------------------------------------

    def states(self, full_subsets):
        """Every tree that a power cut can leave now, as sets of (path, blob); a folder's blob is None."""
        for steps in _selections(self.pending, full_subsets):
            yield from self._data_states(steps)

    def _data_states(self, steps):
        overlay = {}

        def names_of(folder):
            return overlay[folder] if folder in overlay else folder.on_disk

        for step in steps:
            for folder in step.folders():
                overlay.setdefault(folder, dict(folder.on_disk))
            step.apply_to(names_of)
        fixed, open_files = [], []
        for path, inode in self.walk(names_of):
            if isinstance(inode, Folder):
                fixed.append((path, None))
            elif inode.between:
                open_files.append((path, [self.blobs.name(content) for content in inode.after_cut()]))
            else:
                fixed.append((path, self.blobs.name(inode.content)))
        for chosen in _choices([names for _, names in open_files]):
            yield frozenset(fixed + [(path, name) for (path, _), name in zip(open_files, chosen)])


def _selections(steps, full_subsets):
    """All subsets of a few steps; of many: every beginning, every single one lost, every single one alone."""
    count = len(steps)
    if count <= full_subsets:
        chosen = itertools.chain.from_iterable(itertools.combinations(range(count), n) for n in range(count + 1))
    else:
        beginnings = [tuple(range(n)) for n in range(count + 1)]
        lost = [tuple(i for i in range(count) if i != gone) for gone in range(count)]
        alone = [(i,) for i in range(count)]
        chosen = dict.fromkeys(beginnings + lost + alone)
    for indices in chosen:
        yield [steps[i] for i in indices]


def _choices(variants):
    """For each file one of its contents: each of them once with all others old and once with all others new."""
    oldest = [names[0] for names in variants]
    newest = [names[min(1, len(names) - 1)] for names in variants]
    yield tuple(oldest)
    yield tuple(newest)
    for index, names in enumerate(variants):
        for name in names:
            for rest in (oldest, newest):
                yield tuple(rest[:index] + [name] + rest[index + 1:])
