"""The clients' own rules: how they read each document, and what they skip, misread or refuse.

Each function takes the name for its messages and the bytes, and adds what is wrong to `problems`."""
import json
import re

from .problems import Problems

# The limits of the clients.
MAX_BODY_BYTES = 134_217_728            # one document
HASH_LINE_BYTES = 65                    # 64 digits and a line feed
MAX_HASH_LINES = MAX_BODY_BYTES // HASH_LINE_BYTES  # 2,064,888; below the 4,000,000 that clients keep
MIN_INSTALLER_BYTES = 65_536
HOSTS_BLOCK_LINES = 60_000              # no further domain is taken once the block has more lines
MAX_URL_PART_BYTES = 1_023              # of the path, and of the query
MAX_HOST_BYTES = 253

HASH = re.compile(rb"[0-9A-Fa-f]{64}\Z")
DOMAIN = re.compile(rb"[A-Za-z0-9.-]{1,253}\Z")
VERSION = re.compile(r"[0-9A-Za-z][0-9A-Za-z.+-]{0,63}\Z")
URL = re.compile(r"(?P<scheme>https?)://(?P<authority>[^/?#]*)(?P<path>[^?#]*)(?P<query>\?[^#]*)?(?P<fragment>#.*)?\Z",
                 re.IGNORECASE)
AUTHORITY = re.compile(r"(?P<host>[A-Za-z0-9._-]+|\[[0-9A-Fa-f:.]+\])(?::(?P<port>[0-9]{1,5}))?\Z")


def check_length(name, body, problems):
    if len(body) > MAX_BODY_BYTES:
        problems.add(f"{name}: {len(body):,} bytes, clients refuse more than {MAX_BODY_BYTES:,}")


def is_web_page(name, body, problems):
    """A page instead of a list is one problem, not one for each of its lines."""
    if not body[:512].lstrip(b"\xef\xbb\xbf \t\r\n").startswith(b"<"):
        return False
    problems.add(f"{name}: a web page, not a list")
    return True


# --- signatures ---

def read_signatures(name, body, problems):
    """Returns the set of the hashes, in lower case."""
    hashes = set()
    if is_web_page(name, body, problems):
        return hashes
    before = len(problems.texts)
    for number, line in enumerate(body.split(b"\n"), 1):
        if HASH.match(line):  # most lines; the rest of the loop takes as long again
            hashes.add(line.lower())
            continue
        text = line.strip(b" \t\r")
        if not text or text.startswith(b"#"):
            continue
        token = re.split(rb"[ \t]", text, maxsplit=1)[0]
        if not HASH.match(token):
            problems.add(f"{name}:{number}: not a SHA-256 in hexadecimal; clients would skip the line")
            continue
        hashes.add(token.lower())
    if not hashes and len(problems.texts) == before:
        problems.add(f"{name}: no hash; clients would keep their old signatures and report an error")
    return hashes


def signature_document(name, hashes, problems):
    """The document that clients get: the hashes sorted, one per line."""
    if len(hashes) > MAX_HASH_LINES:
        problems.add(f"{name}: {len(hashes):,} hashes; more than {MAX_HASH_LINES:,} do not fit into one document")
        return b""
    return b"".join(digest + b"\n" for digest in sorted(hashes))


# --- blocklist ---

def is_block_domain(domain):
    return (DOMAIN.match(domain) is not None and domain[:1] != b"." and domain[-1:] != b"."
            and b".." not in domain and b"." in domain and re.search(rb"[A-Za-z]", domain) is not None)


def read_blocklist(name, body, problems):
    """Returns the distinct domains in lower case, in the order given."""
    domains = {}
    if is_web_page(name, body, problems):
        return domains
    for number, line in enumerate(body.split(b"\n"), 1):
        text = line[:-1] if line.endswith(b"\r") else line
        if not text or text.startswith(b"#"):
            continue
        if not is_block_domain(text):
            problems.add(f"{name}:{number}: not a bare domain; clients would skip or misread the line")
            continue
        domains.setdefault(text.lower(), number)
    return domains


def check_hosts_budget(name, domains, problems):
    """`domains` as read_blocklist() returns them: each with the number of its line."""
    lines = 2
    for domain, number in domains.items():
        if lines > HOSTS_BLOCK_LINES:
            problems.add(f"{name}:{number}: clients write {HOSTS_BLOCK_LINES:,} lines into the hosts file; this domain "
                         f"and those after it would be left out (a domain takes two lines, one with www. takes one)")
            return
        lines += 1 if domain.startswith(b"www.") else 2


def check_own_names(name, domains, servers, problems):
    """A client that blocks the name of its own server gets nothing from it any more, not even the cure."""
    for server in sorted(servers):
        host = server.encode()
        for domain in domains:
            if host == domain or host.endswith(b"." + domain):
                problems.add(f"{name}: {domain.decode()} blocks the update server {server}, or a domain above it; "
                             f"clients that take it would never be reached again")


# --- releases ---

def json_string_field(text, key):
    """Reads a member as clients do: by text search, where a backslash escapes the next character."""
    at = text.find(b'"' + key + b'"')
    if at < 0:
        return None
    at = text.find(b":", at + len(key) + 2)
    at = text.find(b'"', at) if at >= 0 else -1
    if at < 0:
        return None
    value = bytearray()
    at += 1
    while at < len(text):
        if text[at] == ord('"'):
            return bytes(value)
        if text[at] == ord("\\"):
            at += 1
            if at == len(text):
                return None
        value.append(text[at])
        at += 1
    return None


def read_as_clients(body):
    """Returns (version, url) as bytes, or the reason why clients find none."""
    begin = body.find(b'"windows"')
    if begin < 0:
        return None, 'no key "windows"'
    end = body.find(b'"android"', begin + 9)
    section = body[begin:end] if end >= 0 else body[begin:]
    version = json_string_field(section, b"version")
    url = json_string_field(section, b"url")
    if version is None or url is None:
        return None, 'the windows section needs the strings "version" and "url"'
    return (version, url), None


def member_offset(text, wanted):
    """Where the first member of that name begins in a valid JSON object, or -1."""
    decoder = json.JSONDecoder()

    def next_token(at):
        while text[at] in " \t\r\n":
            at += 1
        return at

    at = next_token(next_token(0) + 1)
    while text[at] == '"':
        key, end = decoder.raw_decode(text, at)
        if key == wanted:
            return at
        _, end = decoder.raw_decode(text, next_token(next_token(end) + 1))
        at = next_token(end)
        if text[at] == ",":
            at = next_token(at + 1)
    return -1


def read_releases(name, body, problems):
    """Returns (version, url) as clients read them, or None when they could not be read or differ from the JSON."""
    check_length(name, body, problems)
    found, reason = read_as_clients(body)
    if found is None:
        problems.add(f"{name}: {reason}")
        return None
    version, url = found
    try:
        text = body.decode("utf-8")
        wanted = json.loads(text)["windows"]
        same = wanted["version"].encode() == version and wanted["url"].encode() == url
    except (ValueError, KeyError, TypeError, AttributeError, RecursionError):
        problems.add(f"{name}: not a JSON document with windows.version and windows.url as strings")
        return None
    if text.find('"windows"') != member_offset(text, "windows"):
        problems.add(f'{name}: the word "windows" stands in quotes before its section; clients take the first one')
        return None
    if not same:
        problems.add(f"{name}: clients read version {version!r} and url {url!r}, not what the JSON says; "
                     f"avoid escapes and put no other key of that name before them")
        return None
    check_version(version.decode(), problems)
    check_url(url.decode(), problems)
    return version.decode(), url.decode()


def check_version(version, problems):
    if not VERSION.match(version) or version.endswith("."):
        problems.add(f"version {version!r}: it becomes part of a file name on the clients; "
                     f"use letters, digits, '.', '+' and '-'")


def version_order(version):
    """A key that orders versions as people do: numbers by value, 1.3 like 1.3.0, and 1.3.0-rc1 before 1.3.0."""
    numbers, rest = re.match(r"([0-9.]*)(.*)\Z", version.partition("+")[0].lower(), re.DOTALL).groups()
    values = [int(number) for number in numbers.split(".") if number]
    while values and values[-1] == 0:
        values.pop()
    pieces = [(0, int(piece), "") if piece.isdigit() else (1, 0, piece) for piece in re.findall(r"[0-9]+|[a-z]+", rest)]
    return values, not pieces, pieces


# --- addresses ---

def host_of(url):
    """The host of an address, in lower case and without its port; "" when there is none."""
    parts = URL.match(url)
    authority = AUTHORITY.match(parts["authority"]) if parts else None
    return authority["host"].lower() if authority else ""


def server_name(text):
    """The host of an address, or of a bare name with or without a port; "" when there is none."""
    return host_of(text) or host_of("http://" + text)


def check_host(host):
    """What is wrong with a host name, or None."""
    if host.startswith("["):
        return None
    if len(host) > MAX_HOST_BYTES or any(not 1 <= len(label) <= 63 for label in host.split(".")):
        return f"no host name: {MAX_HOST_BYTES} characters at most, 1 to 63 between two dots"
    return None


def check_url(url, problems):
    shown = url if len(url) <= 100 else url[:100] + "..."
    parts = URL.match(url)
    if parts is None or not re.match(r"[!-~]+\Z", url) or "\\" in url:
        problems.add(f"{shown}: clients need a plain ASCII http or https address")
        return
    authority = AUTHORITY.match(parts["authority"])
    if authority is None:
        problems.add(f"{shown}: no host, or more than a host and a port, between '//' and the next '/'")
        return
    if reason := check_host(authority["host"]):
        problems.add(f"{shown}: {reason}")
    if authority["port"] is not None and not 1 <= int(authority["port"]) <= 65_535:
        problems.add(f"{shown}: port {authority['port']} is not between 1 and 65535")
    if max(len(parts["path"]), len(parts["query"] or "")) > MAX_URL_PART_BYTES:
        problems.add(f"{shown}: the path is longer than {MAX_URL_PART_BYTES:,} bytes")
    if parts["fragment"] is not None:
        problems.add(f"{shown}: clients would send what follows the '#' to the server")


def is_usable_url(url):
    problems = Problems()
    check_url(url, problems)
    return not problems


def check_base_url(url, problems):
    """The base of an installer's address: what follows its path would get lost."""
    check_url(url, problems)
    if "?" in url:
        problems.add(f"{url}: a base address has no query")


# --- installer ---

def check_installer(name, body, problems):
    check_length(name, body, problems)
    if len(body) < MIN_INSTALLER_BYTES:
        problems.add(f"{name}: {len(body):,} bytes, clients refuse fewer than {MIN_INSTALLER_BYTES:,}")
    if body[:2] != b"MZ":
        problems.add(f"{name}: does not begin with MZ; clients refuse it")
