"""Brings an analysis from where fsspec reaches to a directory, which is where the library reads."""

from __future__ import annotations

import hashlib
import json
import os
import shutil
import tempfile
from typing import Any, Dict, Union

from ._errors import KovaError
from .engines import needed

# What a run may consist of; directories of instruments have more in them.
_NAMES = ("analysis.kvd", "analysis.kvd-wal", "analysis.kvd_bin", "analysis.kvs", "analysis.kvs-wal", "analysis.kvs_bin",
          "calibration.sqlite", "calibration.sqlite-wal")


def stage(url: Union[str, "os.PathLike[str]"], cache: Union[str, "os.PathLike[str]"], **storage_options: Any) -> str:
    """Copies an analysis into a cache, unless it is there, and returns where it is.

    Any number of processes may share a cache. A copy is complete when it appears and never changes: where the original has
    changed, which its sizes and what its storage says of versions and times tell, another copy is made beside it. Nothing
    is ever deleted.

    Parameters
    ----------
    url : str or path-like
        Directory of the analysis, as fsspec names it, such as ``"s3://bucket/study/run.d"``.
    cache : str or path-like
        Directory on a file system of this machine, which is made if need be.
    **storage_options
        What fsspec needs for that storage, such as keys.

    Returns
    -------
    str
        Path of the copy, for `open`, `Analysis` and studies; its last part is that of the URL.

    Raises
    ------
    KovaError
        There is no analysis, or it changed while it was copied.
    """
    fsspec = needed("fsspec.core", "stage")
    files, root = fsspec.url_to_fs(os.fspath(url), **storage_options)
    files.invalidate_cache()
    found = _files(files, root)
    if not {"analysis.kvd", "analysis.kvs"} & set(found):
        raise KovaError(f"{os.fspath(url)} is no analysis: there is neither analysis.kvd nor analysis.kvs in it.")
    key = hashlib.sha256(json.dumps([os.fspath(url), sorted(found.items())]).encode()).hexdigest()[:24]
    folder = os.path.join(os.path.abspath(os.fsdecode(cache)), key)
    copy = os.path.join(folder, os.path.basename(root.rstrip("/")))
    if os.path.isdir(copy):
        return copy
    os.makedirs(folder, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="incomplete-", dir=folder) as partial:
        target = os.path.join(partial, "copy")
        os.mkdir(target)
        for name in found:
            files.get_file(f"{root}/{name}", os.path.join(target, name))
        files.invalidate_cache()
        if _files(files, root) != found:
            raise KovaError(f"{os.fspath(url)} changed while it was copied. Stage it again when nothing writes to it any more.")
        try:
            os.rename(target, copy)
        except OSError:  # another process was quicker
            if not os.path.isdir(copy):
                raise
            shutil.rmtree(target)
    return copy


def _files(files: Any, root: str) -> Dict[str, str]:
    """The files of an analysis and what tells one version of them from another."""
    try:
        listed = files.ls(root, detail=True)
    except (FileNotFoundError, NotADirectoryError):
        return {}
    states = {os.path.basename(entry["name"]): f"{entry['size']} {files.ukey(entry['name'])}" for entry in listed
              if entry["type"] == "file"}
    return {name: states[name] for name in _NAMES if name in states}
