"""docs/vectors for the tests that read them without the product: the decoder and the client libraries."""
import json
import pathlib

ROOT = pathlib.Path(__file__).resolve().parents[3]
VECTORS = ROOT / "docs/vectors"


def bytes_of(pieces):
    """Hexadecimal digits, or a list of them; "*N" behind the digits repeats their bytes."""
    if isinstance(pieces, list):
        return b"".join(map(bytes_of, pieces))
    digits, _, times = pieces.partition("*")
    return bytes.fromhex(digits) * int(times or 1)


def expanded(value):
    """Repeated lists written out."""
    if isinstance(value, list):
        return [expanded(part) for part in value]
    if isinstance(value, dict):
        if set(value) == {"times", "each"}:
            return [expanded(value["each"])] * value["times"]
        return {name: expanded(part) for name, part in value.items()}
    return value


def cases():
    """(file, opcode, case), with the case's payload as bytes and its value written out."""
    for path in sorted(VECTORS.glob("[0-9]*.json")):
        vectors = json.loads(path.read_text(encoding="utf-8"))
        for case in vectors["cases"]:
            yield path.name, vectors["opcode"], {
                **case, "payload": bytes_of(case["payload"]), "value": expanded(case["value"])}


def refusals():
    return json.loads((VECTORS / "refusals.json").read_text(encoding="utf-8"))["refusals"]


def frames():
    return json.loads((VECTORS / "frames.json").read_text(encoding="utf-8"))["frames"]
