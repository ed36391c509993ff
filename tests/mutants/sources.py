"""Changes that can be made to the text of a C++ source."""
import collections
import hashlib
import re

Change = collections.namedtuple("Change", "module file kind start end text line before after identity")

KINDS = {"comparison": 5, "boundary": 3, "sign": 2, "constant": 4, "logic": 3, "call": 3, "arguments": 1}

# Functions whose call states an assumption or cannot be told from its absence.
UNCHANGED_CALLS = re.compile(
    r"KORVANE_ASSERT|CV_Assert|static_assert|CheckInvariants|Prefetch|__builtin_prefetch|_mm_prefetch|reserve|"
    r"shrink_to_fit|madvise|kill|sizeof|alignas|explicit|noexcept|decltype")
COMMUTATIVE = re.compile(r"(^|::)(max|min|swap|minmax|lock_guard|scoped_lock)$")


def blanked(text, start, end):
    return text[:start] + re.sub(r"[^\n]", " ", text[start:end]) + text[end:]


def closing(text, opening, brackets="()"):
    """The place behind the bracket that closes the one at `opening`, or -1."""
    depth = 0
    for i in range(opening, len(text)):
        if text[i] == brackets[0]:
            depth += 1
        elif text[i] == brackets[1]:
            depth -= 1
            if depth == 0:
                return i + 1
    return -1


def code_of(text):
    """The text with all that is not to be changed blanked, place by place."""
    code = text
    # Raw strings, comments, strings, characters; a digit separator is no character.
    for match in re.finditer(r'R"([^(\s]*)\((?:.|\n)*?\)\1"|//(?:\\\n|[^\n])*|/\*(?:.|\n)*?\*/|'
                             r'"(?:\\.|[^"\\\n])*"|(?<![0-9A-Fa-f])\'(?:\\.|[^\'\\\n])+\'', text):
        quote = match.group()[0] in "\"'R"
        # Strings leave their quotes, so that a call does not lose an argument.
        code = blanked(code, match.start() + quote, match.end() - quote)
    code = re.sub(r"^[ \t]*#[ \t]*ifdef[ \t]+KORVANE_ASSERTIONS\n(?:.|\n)*?^[ \t]*#[ \t]*(?:else|endif)[^\n]*$",
                  lambda m: blanked(m.group(), 0, len(m.group())), code, flags=re.M)
    code = re.sub(r"^[ \t]*#(?:\\\n|[^\n])*", lambda m: blanked(m.group(), 0, len(m.group())), code, flags=re.M)
    # A signal of another number, or to another process, is not for trying.
    masked = r"\b(KORVANE_ASSERT|CV_Assert|static_assert|alignas|sizeof|decltype|kill|\w*[pP]refetch)\s*\("
    for match in re.finditer(masked, code):
        code = blanked(code, match.start(), max(closing(code, match.end() - 1), match.end()))
    # Functions that only check: they are nothing in a release.
    for match in re.finditer(r"\bvoid\s+[\w:]*Check(?:Invariants|Open|Closed|Removed)\w*\([^)]*\)[^;{]*\{", code):
        code = blanked(code, match.start(), max(closing(code, match.end() - 1, "{}"), match.end()))
    for match in re.finditer(r"\btemplate\s*<", code):
        code = blanked(code, match.start(), max(closing(code, match.end() - 1, "<>"), match.end()))
    # Arguments of templates: no space before the bracket, unlike a comparison.
    for match in re.finditer(r"(?<=\w)<(?=[\w:\s*&,()<>\"]*>)", code):
        end = closing(code, match.start(), "<>")
        if end > 0 and not re.search(r"[;{}]|&&|\|\|", code[match.start():end]):
            code = blanked(code, match.start(), end)
    return code


def arguments(code, opening, end):
    """Where the arguments between two brackets begin and end."""
    places, depth, start = [], 0, opening + 1
    for i in range(opening + 1, end - 1):
        if code[i] in "([{":
            depth += 1
        elif code[i] in ")]}":
            depth -= 1
        elif code[i] == "," and depth == 0:
            places.append((start, i))
            start = i + 1
    places.append((start, end - 1))
    return places


def numbers(literal):
    digits, suffix = re.match(r"(0[xX][0-9A-Fa-f']+|[0-9.']+(?:[eE][-+]?[0-9]+)?)(\w*)$", literal).groups()
    if re.search(r"[.eE]", digits) and not digits.lower().startswith("0x"):
        value = float(digits.replace("'", ""))
        return [repr(v) + suffix for v in ([1.0] if value == 0 else [value * 1.25, value * 0.8])]
    value = int(digits.replace("'", ""), 0) if not re.match(r"0[0-7]+$", digits) else int(digits, 8)
    return [str(v) + suffix for v in ([1] if value == 0 else [value + 1, value - 1])]


def replacements(text):
    """(kind, start, end, text) of every change that can be made."""
    code = code_of(text)
    for match in re.finditer(r"(?<=[\s)\]\w])\s(<=|>=|==|!=|<|>)\s", code):
        other = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}[match.group(1)]
        yield "comparison", match.start(1), match.end(1), other
    for match in re.finditer(r"([+-]) 1u?(?![\w.'])", code):
        yield "boundary", match.start(), match.end(), match.group(1) + " 2"
        yield "boundary", match.start(), match.end(), match.group(1) + " 0"
    for match in re.finditer(r"(?<=[\w)\]]) ([+-])(=?) (?![\"'])", code):
        line = code[code.rfind("\n", 0, match.start()) + 1:code.find("\n", match.end())]
        if '"' not in line and "string" not in line and "operator" not in line:
            yield "sign", match.start(1), match.end(1), "-" if match.group(1) == "+" else "+"
    for match in re.finditer(r"(?<=[(,=?:\[{] |.[(\[{])-(?=[\w(])|(?<=return )-(?=[\w(])", code):
        yield "sign", match.start(), match.end(), ""
    for match in re.finditer(r"(?<![\w.'])(0[xX][0-9A-Fa-f']+|[0-9][0-9']*(?:\.[0-9]*)?(?:[eE][-+]?[0-9]+)?)"
                             r"(?:[uUlLfF]*)(?![\w.'])", code):
        if code[max(0, match.start() - 2):match.start()] not in ("+ ", "- ") or match.group() not in ("1", "1u"):
            for other in numbers(match.group()):
                yield "constant", match.start(), match.end(), other
    for match in re.finditer(r"\b(true|false)\b", code):
        yield "constant", match.start(), match.end(), "false" if match.group() == "true" else "true"
    for match in re.finditer(r"(?<=[\w)\]\"'}] )(&&|\|\|)(?= |\n)", code):
        yield "logic", match.start(), match.end(), "||" if match.group() == "&&" else "&&"
    for match in re.finditer(r"!(?=[\w(:])", code):
        yield "logic", match.start(), match.end(), ""
    yield from dropped_calls(code)
    yield from swapped_arguments(text, code)


def dropped_calls(code):
    call = re.compile(r"(?<=[;{})])\s+((?:[A-Za-z_]\w*(?:\[[^\]\n]*\]|\(\))?(?:::|\.|->))*[A-Za-z_]\w*)\s*\(")
    for match in call.finditer(code):
        name = match.group(1)
        end = closing(code, match.end() - 1)
        if end < 0 or not code.startswith(";", end) or UNCHANGED_CALLS.search(name):
            continue
        if "\n\n" in code[match.start():end] or re.match(r"(if|for|while|switch|return|catch|throw|do|else)$", name):
            continue
        yield "call", match.start(1), end, "static_cast<void>(0)"


def swapped_arguments(text, code):
    for match in re.finditer(r"([A-Za-z_][\w:.]*(?:->\w+)*)\s*\(", code):
        name = match.group(1)
        end = closing(code, match.end() - 1)
        if end < 0 or UNCHANGED_CALLS.search(name) or COMMUTATIVE.search(name):
            continue
        if name in ("if", "for", "while", "switch"):
            continue
        if code[max(0, match.start() - 1)] in "~&*" or re.match(r"\s*(\{|const\b|noexcept|:\s)", code[end:]):
            continue  # a definition
        # "Type name(" declares; "return name(" calls.
        before = re.search(r"(\w+|[*&>])[ \n]+$", code[:match.start()])
        if before and (before.group(1) in "*&>" or before.group(1) not in ("return", "else", "case")) \
                and not re.search(r"[=+\-*/%<>?:&|,({;}!]\s*$", code[:match.start()]):
            continue
        places = arguments(code, match.end() - 1, end)
        for (start, middle), (second, stop) in zip(places, places[1:]):
            one, two = text[start:middle].strip(), text[second:stop].strip()
            declared = re.compile(r"^(const\s+)?[\w:]+(<.*>)?[\s&*]+\w+$")
            if one and two and one != two and not declared.match(one) and not declared.match(two):
                start += len(text[start:middle]) - len(text[start:middle].lstrip())
                stop -= len(text[second:stop]) - len(text[second:stop].rstrip())
                yield "arguments", start, stop, two + ", " + one


def changes(module, file, text):
    """Every change of a file. A change is known by its lines before and after, and by how often they came before."""
    seen = collections.Counter()
    found = []
    for kind, start, end, replacement in replacements(text):
        first = text.rfind("\n", 0, start) + 1
        last = text.find("\n", end)
        last = len(text) if last < 0 else last
        before = text[first:last]
        after = text[first:start] + replacement + text[end:last]
        key = (" ".join(before.split()), " ".join(after.split()))
        seen[key] += 1
        identity = hashlib.sha256("\0".join((file, *key, str(seen[key]))).encode()).hexdigest()[:16]
        # The same change of the same words elsewhere in the file is told apart by a number.
        shown = key[0] + (f" [{seen[key]}]" if seen[key] > 1 else "")
        line = text.count("\n", 0, start) + 1
        found.append(Change(module, file, kind, start, end, replacement, line, shown, key[1], identity))
    return found


def code_lines(text):
    """Lines that hold more than blanks, comments and brackets."""
    return sum(1 for line in code_of(text).split("\n") if re.search(r"\w", line))
