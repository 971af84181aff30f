"""What the package raises when the library refuses."""

from __future__ import annotations


class KovaError(RuntimeError):
    """A call of the library failed; the message is the library's last-error text."""

    __module__ = "kovadata"  # as users write it


def noted(error: KovaError, note: str) -> KovaError:
    """The error with a line that tracebacks show below its text, as Python can since 3.11."""
    add_note = getattr(error, "add_note", None)
    if add_note is not None:
        add_note(note)
    return error


class BufferTooSmall(KovaError):
    """An array passed as ``out`` cannot hold the result. It was left as it was.

    Attributes
    ----------
    needed : int
        Number of elements that the result needs.
    """

    __module__ = "kovadata"

    def __init__(self, message: str, needed: int) -> None:
        super().__init__(message, needed)
        self.needed = needed

    def __str__(self) -> str:
        return str(self.args[0])
