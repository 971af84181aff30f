#!/usr/bin/env python3
"""Checks what is kept under version control: no file above 256 KiB, and subjects of commits that read as instructions."""

import pathlib
import re
import subprocess
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
LARGEST_FILE = 256 * 1024
LONGEST_SUBJECT = 60

# After the area, a subject says what applying the commit does: "blob: refuse block sizes above the limit".
AREA = re.compile(r"^([^:]+: +)+")
WRITTEN_BY_GIT = re.compile(r'^(Merge|Revert "|fixup! |squash! )')
NO_VERB = frozenset("""
    a all an and another any are as at because but by each every few for four from he her here his how if in into is it its
    less many more most my new no nor not of on one or our same several some such that the their there these they this those
    three to two was we were what when where which who why with without you your""".split())
OTHER_FORM = re.compile(r"(ed|ing|[^s]s)$")  # "added", "adding", "adds"
VERBS_WITH_SUCH_ENDINGS = frozenset(
    "alias bias bring embed exceed feed focus need ping proceed seed shed speed spring string".split())


def git(*arguments: str) -> list[str]:
    """Lines that git prints; none where it is not there, or where the tree is no clone (an export)."""
    try:
        answer = subprocess.run(["git", "-C", str(PROJECT), *arguments], capture_output=True, text=True, check=False)
    except FileNotFoundError:
        return []
    return answer.stdout.splitlines() if answer.returncode == 0 else []


def is_instruction(subject: str) -> bool:
    words = re.findall(r"[\w'-]+", AREA.sub("", subject))
    verb = words[0].lower() if words else ""
    return bool(verb) and verb not in NO_VERB and (verb in VERBS_WITH_SUCH_ENDINGS or not OTHER_FORM.search(verb))


def subject_problems(subject: str) -> list[str]:
    if WRITTEN_BY_GIT.match(subject):
        return []
    problems = []
    if len(subject) > LONGEST_SUBJECT:
        problems.append(f"has {len(subject)} characters; at most {LONGEST_SUBJECT}")
    if not is_instruction(subject):
        problems.append("does not begin with a verb, as in 'blob: refuse block sizes above the limit'")
    return problems


def unpublished_subjects() -> list[str]:
    """Commits that origin does not have; those from before this check are left alone."""
    if not git("rev-parse", "--verify", "--quiet", "origin/main"):
        return []
    added = git("log", "--diff-filter=A", "--format=%H", "--", pathlib.Path(__file__).relative_to(PROJECT).as_posix())
    return git("log", "--format=%s", "HEAD", "^origin/main", *(f"^{commit}" for commit in added[-1:]))


def file_problems() -> list[str]:
    sizes = {path: (PROJECT / path).stat().st_size for path in git("ls-files") if (PROJECT / path).is_file()}
    return [f"{path}: {size} bytes; at most {LARGEST_FILE}" for path, size in sizes.items() if size > LARGEST_FILE]


def main() -> int:
    found = file_problems()
    for subject in sys.argv[1:] or unpublished_subjects():
        found += [f"commit '{subject}' {problem}" for problem in subject_problems(subject)]
    print("\n".join(found) if found else "files and subjects of commits are in order")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
