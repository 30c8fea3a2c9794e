# SPDX-License-Identifier: MIT
"""Mutants of C++ sources: copies that differ in one place, as a mistake would make them.

The text is only split into tokens, not parsed: what is a comparison, a statement or a call is told
by the shape that clang-format gives it. A mutant that does not compile is no mutant; whoever
builds it finds out.
"""

import bisect
import collections
import re
from typing import NamedTuple

TOKEN = re.compile(
    r"""(?P<space>\s+|//[^\n]*|/\*.*?\*/|^[ ]*\#(?:[^\n]*\\\n)*[^\n]*)
      | (?P<text>"(?:\\.|[^"\\])*")
      | (?P<char>'(?:\\.|[^'\\])+')
      | (?P<number>\d[\w.]*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign><=>|->|\.\.\.|::|<<=|>>=|\+\+|--|<<|>>|&&|\|\||[-+*/%&|^<>=!]=|.)""",
    re.MULTILINE | re.DOTALL | re.VERBOSE)

BINARY = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
    "==": ("!=",), "!=": ("==",), "&&": ("||",), "||": ("&&",),
    "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "|": ("&",),
    "+=": ("-=",), "-=": ("+=",),
}
OPENING = {"(": ")", "[": "]", "{": "}", "<": ">"}
NOT_CALLED = {"if", "while", "for", "switch", "catch", "return", "operator", "alignas", "decltype"}
# What begins a statement that is not removed as a whole.
KEPT = {"if", "for", "while", "do", "switch", "case", "default", "return", "using", "static_assert",
        "try", "catch", "else", "public", "private", "protected", "typedef", "friend", "struct",
        "class", "enum", "namespace", "template"}
NOTHING = {"", "{}", "0", "false", "true", "nullptr", '""', "1", "-1", "EXIT_SUCCESS"}
LONGEST_SWAPPED_LIST = 8


class Mutant(NamedTuple):
    """`old` and `new` are what a reader is shown of the change, and `text` is the whole file's.
    `number` tells the changes apart that look the same in a line, and one at the end of `line_text`
    the lines that are the same."""

    path: str
    line: int
    line_text: str
    old: str
    new: str
    number: int
    text: str

    def change(self):
        number = f" ({self.number})" if self.number > 1 else ""
        return f"{self.old} -> {self.new}{number}"


class Token(NamedTuple):
    kind: str
    text: str
    start: int
    end: int


def mutants(path, text):
    """All mutants of a file, in the order of their places."""
    return _Source(path, text).mutants()


class _Source:
    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.line_starts = [0] + [match.end() for match in re.finditer("\n", text)]
        self.line_names = _numbered(line.strip() for line in text.split("\n"))
        self.tokens = [Token(match.lastgroup, match[0], match.start(), match.end())
                       for match in TOKEN.finditer(text) if match.lastgroup != "space"]
        self.partner = self._match_brackets()
        self.ignored = self._ignored_tokens()

    def mutants(self):
        found = {}
        for index in range(len(self.tokens)):
            if index in self.ignored:
                continue
            for start, end, new, shown in self._changes_at(index):
                found.setdefault((start, end, new), (shown if shown is not None else new))
        seen = collections.Counter()
        return [self._mutant(start, end, new, shown, seen)
                for (start, end, new), shown in sorted(found.items(), key=lambda item: item[0])]

    def _mutant(self, start, end, new, shown, seen):
        line = bisect.bisect_right(self.line_starts, start)
        old = " ".join(self.text[start:end].split())
        seen[line, old, shown] += 1
        return Mutant(self.path, line, self.line_names[line - 1], old, shown, seen[line, old, shown],
                      self.text[:start] + new + self.text[end:])

    # --- The shape of the text

    def _at(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def _spaced(self, index):
        """Whether there is white space on both sides, as around a binary operator."""
        token = self.tokens[index]
        return self.text[token.start - 1].isspace() and self.text[token.end].isspace()

    def _opens_template(self, index):
        return self._at(index) == "<" and (
            self._at(index - 1) == "template" or
            self.tokens[index - 1].kind == "word" and not self._spaced(index))

    def _match_brackets(self):
        partner = {}
        stack = []
        for index, token in enumerate(self.tokens):
            if token.kind != "sign":
                continue
            if token.text in "([{" or self._opens_template(index):
                stack.append(index)
                continue
            closing = token.text if token.text in (")", "]", "}", ">", ">>") else ""
            for sign in closing if closing == ">>" else [closing]:
                if stack and OPENING[self._at(stack[-1])] == sign:
                    opening = stack.pop()
                    partner[opening] = index
                    partner.setdefault(index, opening)
        return partner

    def _ignored_tokens(self):
        """Tokens that do nothing when the program runs."""
        ignored = set()
        for index, token in enumerate(self.tokens):
            if token.text == "[" and self._at(index + 1) == "[" or \
                    token.text == "(" and self._at(index - 1) == "static_assert":
                ignored.update(range(index, self.partner[index] + 1))
            elif token.text == "operator":
                ignored.add(index + 1)
            elif token.text == "extern" and self._at(index + 1) == '"C"':
                ignored.add(index + 1)
        return ignored

    def _is_block(self, brace):
        """Whether a `{` begins statements, not members, declarations or values."""
        before = self._at(brace - 1)
        if before in (")", "else", "do", "try", "const", "noexcept", "override", "mutable"):
            return True
        if before in (";", "{", "}", ":"):
            outer = self._enclosing_brace(brace)
            return outer is not None and self._is_block(outer)
        return False

    def _enclosing_brace(self, index):
        depth = index - 1
        while depth >= 0:
            sign = self._at(depth)
            if sign in (")", "]", "}") and depth in self.partner:
                depth = self.partner[depth]
            elif sign == "{":
                return depth
            elif sign in ("(", "["):
                return None
            depth -= 1
        return None

    def _pieces(self, opening):
        """The ranges of tokens between the commas of a bracket."""
        pieces = []
        start = index = opening + 1
        while index < self.partner[opening]:
            if index in self.partner and self.partner[index] > index:
                index = self.partner[index]
            elif self._at(index) == ",":
                pieces.append((start, index))
                start = index + 1
            index += 1
        pieces.append((start, index))
        return [piece for piece in pieces if piece[0] < piece[1]]

    def _span(self, first, last):
        """The characters of the tokens from `first` up to but not including `last`."""
        return self.tokens[first].start, self.tokens[last - 1].end

    def _shown(self, first, last):
        start, end = self._span(first, last)
        return " ".join(self.text[start:end].split())

    # --- What can be changed. Each yields (start, end, new text, what is shown of it or None).

    def _changes_at(self, index):
        token = self.tokens[index]
        change = getattr(self, f"_change_{token.kind}")
        yield from change(index, token)
        yield from self._changed_statement(index)

    def _change_text(self, _index, token):
        body = token.text[1:-1]
        places = [place for place, char in enumerate(body)
                  if char.isalnum() and (place == 0 or body[place - 1] not in "\\%")]
        if not places:
            yield token.start, token.end, '"x"', None
            return
        place = places[len(places) // 2]
        yield (token.start, token.end,
               f'"{body[:place]}{_other(body[place])}{body[place + 1:]}"', None)

    def _change_char(self, _index, token):
        body = token.text[1:-1]
        new = _other(body) if body.isalnum() else {"\\0": "0"}.get(body, "x")
        yield token.start, token.end, f"'{new}'", None

    def _change_number(self, _index, token):
        match = re.fullmatch(r"(0x[0-9a-fA-F]+|\d+)([uUlL]*)", token.text)
        if match:
            number = int(match[1], 0)
            new = 0 if number == 1 else number + 1
            yield token.start, token.end, f"{new}{match[2]}", None

    def _change_word(self, index, token):
        if token.text in ("true", "false"):
            yield token.start, token.end, "false" if token.text == "true" else "true", None
        elif token.text in ("if", "while"):
            opening = index + (2 if self._at(index + 1) == "constexpr" else 1)
            if self._at(opening) == "(":
                yield from self._forced(self._condition(opening), token.text == "if")
        elif token.text == "for" and self._at(index + 1) == "(":
            parts = self._split_for(index + 1)
            if len(parts) == 3 and parts[1][0] < parts[1][1]:
                yield from self._forced(parts[1], False)

    def _split_for(self, opening):
        parts = []
        start = index = opening + 1
        while index < self.partner[opening]:
            if index in self.partner and self.partner[index] > index:
                index = self.partner[index]
            elif self._at(index) == ";":
                parts.append((start, index))
                start = index + 1
            index += 1
        return [*parts, (start, index)]

    def _condition(self, opening):
        return self._split_for(opening)[-1]

    def _forced(self, condition, both):
        """A condition that is evaluated, and then taken as false, or, unless a loop would not end,
        as true."""
        start, end = self._span(*condition)
        old = self.text[start:end]
        if old in ("true", "false"):
            return
        yield start, end, f"(({old}) && false)", "false"
        if both:
            yield start, end, f"(({old}) || true)", "true"

    def _change_sign(self, index, token):
        if token.text in BINARY and self._spaced(index) and index not in self.partner:
            for new in BINARY[token.text]:
                yield token.start, token.end, new, None
        elif token.text in ("++", "--"):
            yield token.start, token.end, "--" if token.text == "++" else "++", None
        elif token.text == "!":
            yield token.start, token.end, "", "removed"
        elif token.text == "?":
            yield from self._forced((self._condition_start(index), index), True)
        elif token.text in "({" and index in self.partner:
            yield from self._swapped(index)

    def _condition_start(self, question):
        index = question - 1
        while index >= 0:
            sign = self._at(index)
            if index in self.partner and self.partner[index] < index:
                index = self.partner[index]
            elif sign in ("(", "[", "{", ",", ";", "=", "return", "<<", "?", ":", "+="):
                break
            index -= 1
        return index + 1

    def _swapped(self, opening):
        if self._at(opening) == "{" and self._is_block(opening) or \
                self._at(opening - 1) in NOT_CALLED and self._at(opening) == "(":
            return
        pieces = self._pieces(opening)
        if len(pieces) > LONGEST_SWAPPED_LIST or any(self._declares(*piece) for piece in pieces):
            return
        for left, right in zip(pieces, pieces[1:]):
            first, second = self._shown(*left), self._shown(*right)
            if first != second:
                new = f"{second}, {first}"
                yield self._span(left[0], right[1])[0], self._span(left[0], right[1])[1], new, None

    def _declares(self, first, last):
        """Whether tokens look like a parameter or a variable: a type and then a name."""
        words = [index for index in range(first, last - 1) if self.tokens[index].kind == "word"]
        for index in words:
            following = index + 1
            if self._at(following) == "<" and following in self.partner:
                following = self.partner[following] + 1
            while following < last and self._at(following) in ("&", "*", "const", "&&") and \
                    not (self._spaced(following) and self._at(following) != "const"):
                following += 1
            if following < last and self.tokens[following].kind == "word" and \
                    self._at(index) not in ("return", "throw", "else", "new", "case", "sizeof"):
                return True
        return False

    def _changed_statement(self, index):
        if not self._begins_statement(index):
            return
        end = index
        while end < len(self.tokens) and self._at(end) != ";":
            if self._at(end) == "{" and self._is_block(end) and end > index and \
                    self._at(end - 1) != ")":
                return
            if self._at(end) in ("}", ")"):
                return
            end = self.partner.get(end, end) + 1 if self._at(end) in ("(", "[", "{") else end + 1
        start, stop = self._span(index, end)
        if self._at(index) == "return":
            value = self.text[start:stop].removeprefix("return").strip()
            if not value:
                yield start, stop, "", "removed"
            elif value not in NOTHING:
                yield start, stop, "return {}", None
        elif self._at(index) not in KEPT and not self._is_used(index, end):
            yield start, stop, "", "removed"

    def _begins_statement(self, index):
        before = self._at(index - 1)
        if self._at(index) in ("}", "{", ";", ":"):
            return False
        brace = self._enclosing_brace(index)
        if brace is None or not self._is_block(brace):
            return False
        if before == "{":
            return brace == index - 1
        if before == ")":
            return self._at(self.partner[index - 1] - 1) in ("if", "for", "while", "switch")
        if before == ":":
            return any(self._at(place) in ("case", "default") for place in range(index - 6, index))
        return before in (";", "}", "else", "do")

    def _is_used(self, first, last):
        """Whether tokens declare a name that comes again in its block: without them nothing
        compiles."""
        if not self._declares(first, last):
            return False
        end = self.partner[self._enclosing_brace(first)]
        for index in range(first + 1, last + 1):
            if self._at(index) in ("=", "(", "{", ";", "["):
                name = self._at(index - 1)
                return any(token.text == name for token in self.tokens[last:end]) or \
                    self._at(index) == ";"
        return True


def _numbered(lines):
    """The lines, but with a number at the end of those that were there before."""
    seen = collections.Counter()
    names = []
    for line in lines:
        seen[line] += 1
        names.append(f"{line} ({seen[line]})" if seen[line] > 1 else line)
    return names


def _other(char):
    """Another character of the same kind."""
    if char in "zZ9":
        return {"z": "a", "Z": "A", "9": "0"}[char]
    return chr(ord(char) + 1)
