"""Finds the texts of all errors that the library raises, from its sources.

A text is a template: what is fixed stands as it is, everything else is "…". An error is raised by LUMO_THROW, or by a
function that does nothing else and is called with the text or parts of it.
"""

import itertools
import pathlib
import re

PLACEHOLDER = "…"
MARK = "\0{}\0"  # stands for an argument of a function that only raises
TOKEN = re.compile(r'"(?:\\.|[^"\\])*"' r"|'(?:\\.|[^'\\])*'" r"|[A-Za-z_]\w*|::|->|\d[\w.']*|\s+|.", re.S)
COMMENT = re.compile(r'("(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\')|//[^\n]*|/\*.*?\*/', re.S)
FORMAT_ITEM = re.compile(r"%\d+%|%\d+\$#?[a-z]|%[dsu]")
ESCAPES = {"n": "\n", "t": "\t", '"': '"', "\\": "\\", "'": "'"}
OPENING, CLOSING = "([{", ")]}"


def without_comments(source: str) -> str:
    return COMMENT.sub(lambda match: match.group(1) or " ", source)


def tokens_of(text: str) -> list[str]:
    return [token for token in TOKEN.findall(text) if not token.isspace()]


def split(tokens: list[str], separator: str) -> list[list[str]]:
    """Parts between separators outside all brackets."""
    parts, depth = [[]], 0
    for token in tokens:
        depth += (token in OPENING) - (token in CLOSING)
        if token == separator and depth == 0:
            parts.append([])
        else:
            parts[-1].append(token)
    return parts


def argument_list(tokens: list[str]) -> list[str]:
    """What stands between the bracket that the tokens begin with and its partner."""
    depth = 0
    for index, token in enumerate(tokens):
        depth += (token in OPENING) - (token in CLOSING)
        if depth == 0:
            return tokens[1:index]
    return tokens[1:]


def literal(token: str) -> str:
    text = re.sub(r"\\(.)", lambda match: ESCAPES[match.group(1)], token[1:-1])
    return FORMAT_ITEM.sub(PLACEHOLDER, text)


def merged(text: str) -> str:
    return re.sub(f"{PLACEHOLDER}+", PLACEHOLDER, text)


class Source:
    """One file: its tokens, and the texts that its expressions can have."""

    def __init__(self, path: pathlib.Path, classes: dict[str, list[str]]):
        self.path = path
        self.tokens = tokens_of(without_comments(path.read_text(encoding="utf-8")))
        self.classes = classes
        self.parameters: list[str] = []  # of the function that is looked at

    def calls(self, name: str):
        """Position and arguments of every call; declarations are left out."""
        for index, token in enumerate(self.tokens[:-1]):
            if token == name and self.tokens[index + 1] == "(" and self.tokens[index - 1] != "void":
                yield index, argument_list(self.tokens[index + 1:])

    def free_literals(self) -> list[str]:
        """Sentences that are no argument of LUMO_THROW."""
        thrown = {token for _, arguments in self.calls("LUMO_THROW") for token in arguments}
        return [literal(token) for token in self.tokens
                if token[0] == '"' and " " in token and token not in thrown]

    def argument_texts(self, argument: list[str], position: int) -> list[str]:
        """As texts(). One that is kept in a data member may be any of the file that is used in no other way."""
        is_member = len(argument) == 3 and argument[1] == "."
        return self.free_literals() if is_member else self.texts(argument, position)

    def texts(self, expression: list[str], position: int) -> list[str]:
        """All templates of an expression that gives a text, at this position of the file."""
        choice = split(expression, "?")
        if len(choice) == 2:
            branches = split(choice[1], ":")
            return [text for branch in branches for text in self.texts(branch, position)]
        parts = [self.term_texts(term, position) for term in split(expression, "+")]
        return ["".join(combination) for combination in itertools.product(*parts)]

    def term_texts(self, term: list[str], position: int) -> list[str]:
        if term and all(token[0] == '"' for token in term):
            return ["".join(map(literal, term))]
        term = term[1:] if term[:1] == ["*"] else term
        while term[1:2] == ["::"]:
            term = term[2:]
        inner = argument_list(term[1:]) if term[1:2] == ["("] else []
        if term[:1] == ["("]:
            return self.texts(split(argument_list(term), "%")[0], position)
        if term[:1] == ["string"] and inner:
            return self.texts(inner, position)
        if inner and any(token[0] == '"' for token in inner):
            # A function that completes a text.
            return [text + PLACEHOLDER for text in self.texts(split(inner, ",")[0], position)]
        return self.variable_texts(term[0], position) if len(term) == 1 else [PLACEHOLDER]

    def variable_texts(self, name: str, position: int) -> list[str]:
        """The last value given to a variable before, if that is written down there."""
        if name in self.parameters:
            return [MARK.format(self.parameters.index(name))]
        for index in range(position, 0, -1):
            before, value = self.tokens[index - 1], self.tokens[index + 1:index + 2]
            if self.tokens[index] != name or before not in ("string", "format", "*", "const"):
                continue
            if value == ["="]:
                return self.texts(split(self.tokens[index + 2:position], ";")[0], index)
            return self.texts(argument_list(self.tokens[index + 1:]), index) if value == ["("] else [PLACEHOLDER]
        return [PLACEHOLDER]

    def exception_texts(self, expression: list[str], position: int) -> list[str]:
        """Templates of what() of an exception, written as a call of its class's constructor."""
        while len(expression) > 1 and expression[1] == "::":
            expression = expression[2:]
        name, arguments = expression[0], split(argument_list(expression[1:]), ",")
        if not arguments[0]:
            return [f"std::{name}"]
        found = self.argument_texts(arguments[-1], position)
        return [form.replace("{text}", text) for form in self.classes.get(name, ["{text}"]) for text in found]


def class_forms(path: pathlib.Path) -> dict[str, list[str]]:
    """How classes of exceptions complete the text that they are given, by their constructors in this file."""
    forms = {}
    source = Source(path, {})
    for index, token in enumerate(source.tokens):
        if source.tokens[index + 1:index + 4] == ["::", token, "("]:
            rest = source.tokens[index + 3:]
            base = rest[len(argument_list(rest)) + 3:]
            *terms, last = split(argument_list(base[1:]), "+")
            assert last == ["text"], f"{token} should end with the text that it is given"
            forms[token] = ["".join(text for term in terms for text in source.term_texts(term, 0)) + "{text}"]
    return forms


class Raiser:
    """A function that only raises: its templates have marks for what its callers pass."""

    def __init__(self, source: Source, name: int, body: int):
        self.source, self.body = source, range(body, body + len(argument_list(source.tokens[body:])))
        parameters = argument_list(source.tokens[name + 1:])
        source.parameters = [parameter[-1] for parameter in split(parameters, ",") if parameter]
        self.texts = [text for position, arguments in source.calls("LUMO_THROW") if position in self.body
                      for text in source.exception_texts(arguments, position)]
        source.parameters = []


def find_raisers(sources: list[Source]) -> dict[str, list[Raiser]]:
    """By name: what is declared [[noreturn]] anywhere, where it is defined."""
    found = {source.tokens[index + 4]: [] for source in sources for index in range(len(source.tokens))
             if source.tokens[index:index + 4] == ["noreturn", "]", "]", "void"]}
    for source in sources:
        for index, token in enumerate(source.tokens[:-1]):
            if token in found and source.tokens[index + 1] == "(":
                end = index + 3 + len(argument_list(source.tokens[index + 1:]))
                end += source.tokens[end] == "const"
                if source.tokens[end] == "{":
                    found[token].append(Raiser(source, index, end))
    return found


def filled(template: str, source: Source, arguments: list[str], position: int) -> list[str]:
    """A template with what a call of its function passes in place of the marks."""
    results = [template]
    for number, argument in enumerate(split(arguments, ",")):
        mark = MARK.format(number)
        if mark in template:
            texts = source.argument_texts(argument, position)
            results = [result.replace(mark, text) for result in results for text in texts]
    return results


def raised_texts(source: Source, raisers: dict[str, list[Raiser]]):
    for name, definitions in raisers.items():
        own = [raiser for raiser in definitions if raiser.source is source]
        for position, arguments in source.calls(name):
            if not any(position + 1 < raiser.body.start < position + len(arguments) + 5 for raiser in own):
                for template in (text for raiser in own or definitions for text in raiser.texts):
                    yield from filled(template, source, arguments, position)
    bodies = [raiser.body for definitions in raisers.values() for raiser in definitions if raiser.source is source]
    for position, arguments in source.calls("LUMO_THROW"):
        if not any(position in body for body in bodies):
            yield from source.exception_texts(arguments, position)
    for position, arguments in source.calls("set"):  # the last error of a thread, without an exception
        if arguments[:2] == ["std", "::"]:
            yield from source.exception_texts(arguments, position)


def error_texts(root: pathlib.Path, skipped: set[str]) -> dict[str, str]:
    """Every template, with the file that raises it, outside the folders to skip."""
    forms = class_forms(root / "diag" / "errors.cpp")
    paths = [path for path in sorted(root.rglob("*")) if path.suffix in (".h", ".cpp") and path.name != "throw.h"
             and path.relative_to(root).parts[0] not in skipped]
    sources = [Source(path, forms) for path in paths]
    raisers = find_raisers(sources)
    found = {}
    for source in sources:
        for text in raised_texts(source, raisers):
            found.setdefault(merged(text), source.path.relative_to(root.parent).as_posix())
    return found
