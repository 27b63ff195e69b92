#!/usr/bin/env python3
"""Writes banner.png, programme.pdf and members.csv beside itself; the same bytes at every run.

The choir, its members and their addresses are invented; the domains are reserved for examples.
"""

import pathlib
import random
import struct
import zlib

HERE = pathlib.Path(__file__).resolve().parent


def png(width, height, pixel):
    """A true-colour PNG; pixel(x, y) gives (red, green, blue)."""

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    rows = b"".join(
        b"\0" + bytes(value for x in range(width) for value in pixel(x, y)) for y in range(height)
    )
    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return (
        b"\x89PNG\r\n\x1a\n"
        + chunk(b"IHDR", header)
        + chunk(b"IDAT", zlib.compress(rows, 9))
        + chunk(b"IEND", b"")
    )


def harbour(x, y):
    """Evening sky over water, with a low sun."""
    if (x - 470) ** 2 + (y - 66) ** 2 < 26**2 and y < 80:
        return (250, 214, 120)
    if y < 80:
        return (40 + y * 2, 52 + y, 96 + y // 2)
    wave = (x + (y - 80) * 9) % 48 < 24
    return (22, 74, 110) if wave else (28, 88, 128)


def pdf(lines):
    """One A5 page of text in a font every reader has."""
    text = "BT /F1 22 Tf 48 520 Td ({}) Tj /F1 12 Tf 0 -16 Td\n".format(lines[0])
    text += "".join("0 -20 Td ({}) Tj\n".format(line) for line in lines[1:]) + "ET\n"
    objects = [
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 420 595] /Contents 4 0 R"
        " /Resources << /Font << /F1 5 0 R >> >> >>",
        "<< /Length {} >>\nstream\n{}endstream".format(len(text), text),
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
    ]
    out = b"%PDF-1.4\n%\xe2\xe3\xcf\xd3\n"
    offsets = []
    for number, body in enumerate(objects, 1):
        offsets.append(len(out))
        out += "{} 0 obj\n{}\nendobj\n".format(number, body).encode("ascii")
    xref = len(out)
    out += "xref\n0 {}\n0000000000 65535 f \n".format(len(objects) + 1).encode("ascii")
    out += b"".join("{:010} 00000 n \n".format(offset).encode("ascii") for offset in offsets)
    out += "trailer\n<< /Size {} /Root 1 0 R >>\nstartxref\n{}\n%%EOF\n".format(
        len(objects) + 1, xref
    ).encode("ascii")
    return out


FIRST = """Aaron Anna Åsa Beatriz Bjørn Chloé Conor Dagmar Dušan Elif Émile Fatima Frank Grażyna Günter
Hélène Ingrid Ismael Jörg Jürgen Katarzyna Léa Łukasz Mariana Måns Nadia Noémie Oskar Özlem Pádraig
Quentin Renée Rosa Sabine Şirin Søren Tomáš Ulrike Vera Wanda Xavier Yara Zoë""".split()
LAST = """Abbott Álvarez Bauer Brontë Castro Çelik Dvořák Eriksen Fernández Gallagher Groß Hansen Ibsen
Jansson Kowalski Lindqvist Müller Nguyen O'Brien Öberg Pereira Quist Richter Schröder Šimić Tremblay
Ünal Vogel Weiß Yılmaz Zając""".split()
TOWNS = """Aarhus Bergen Brest Cork Gdańsk Göteborg Hull Kiel Köln Lübeck Málaga Nîmes Porto Rønne Split
Tórshavn Zürich""".split()
NOTES = ["", "", "", "alto", "tenor", "second row", '"alto, second row"', '"brings a friend, maybe two"', "new"]
DOMAINS = ["example.org", "example.net", "example.com", "mail.example", "choir.example"]


def row_of(number, chance):
    first, last = chance.choice(FIRST), chance.choice(LAST)
    address = "member{:04}@{}".format(number, chance.choice(DOMAINS))
    return [
        "{:04}".format(number), first, last, address, chance.choice(TOWNS),
        str(chance.randint(1, 6)), chance.choice(NOTES),
    ]


def untidy(row, chance):
    """What a list picks up on its way through spreadsheets and hands."""
    kind = chance.randrange(12)
    if kind == 0:
        row[3] = row[3].upper()
    elif kind == 1:
        row[3] = '"{}"'.format(row[3])
    elif kind == 2:
        row[3] = "  {} ".format(row[3])
    elif kind == 3:
        row[1], row[2] = '"{}"'.format(row[1]), ' "{}" '.format(row[2])
    elif kind == 4:
        row[4] = " {}  ".format(row[4])
    elif kind == 5:
        row[3] = "'{}'".format(row[3])
    return row


def members():
    """A heading and 1,000 rows: 980 members, 16 of them once more in other letters, 4 cut-off rows.
    Blank lines, as left by somebody's editor, come on top."""
    chance = random.Random(1873)
    rows = [row_of(number, chance) for number in range(1, 981)]
    again = [list(row) for row in chance.sample(rows, 16)]
    for row in again:
        row[3] = row[3].title()
        row[6] = "moved"
    lines = [",".join(rows[0])] + [",".join(untidy(row, chance)) for row in rows[1:]]
    for extra in [",".join(row) for row in again] + ["0981,Jo,Quist", "0982", "0983,Li,,", "0984,,,  ,Kiel"]:
        lines.insert(chance.randrange(100, len(lines)), extra)
    for _ in range(5):
        lines.insert(chance.randrange(100, len(lines)), "")
    return "\r\n".join(["Member No,First Name,Last Name,E-Mail,Town,Seats,Note"] + lines) + "\r\n"


PROGRAMME = [
    "The Harbour Choir",
    "Summer concert on the quay",
    "Saturday, 19 June, seven in the evening",
    "",
    "The boats come in",
    "Three songs of the northern islands",
    "Rain on a tin roof",
    "Interval",
    "A round for four voices",
    "The lamplighter",
    "Good night, and home",
]

if __name__ == "__main__":
    (HERE / "banner.png").write_bytes(png(600, 120, harbour))
    (HERE / "programme.pdf").write_bytes(pdf(PROGRAMME))
    (HERE / "members.csv").write_bytes(members().encode("utf-8"))
