"""What the package raises when the library refuses, and warns of when it leaves something out."""

from __future__ import annotations


class KovaError(RuntimeError):
    """A call of the library failed; the message is the library's last-error text."""

    __module__ = "kovadata"  # as users write it


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


class DamageWarning(RuntimeWarning):
    """Damaged frames were left out, as was asked for; the message lists them."""

    __module__ = "kovadata"
