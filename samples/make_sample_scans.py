#!/usr/bin/env python3
"""Writes the bundled sample scans: 36 small baseline JPEGs named as a film scanner names them
(scans/scan_0001.jpg ... scan_0036.jpg), each carrying the Exif a film scanner writes.

Made once and committed together with this script. No image library is used: each picture is a
16 by 16 grayscale frame of one tone per 8 by 8 block, so only DC coefficients are coded, with
the Huffman tables of the JPEG standard's Annex K. Each file's Exif holds Make, Model, Software
and DateTime of a scanner, resolutions, a small Exif IFD, and a 1st IFD with a thumbnail (the
same picture without its Exif).

Run: python3 make_sample_scans.py   (from any folder; writes beside this script)
"""
import os
import struct

WIDTH = HEIGHT = 16
FRAMES = 36

# Annex K.3, table K.3: luminance DC code lengths and values.
DC_BITS = [0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0]
DC_VALUES = list(range(12))
# Annex K.3, table K.5: luminance AC code lengths and values.
AC_BITS = [0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7D]
AC_VALUES = bytes.fromhex(
    "01020300041105122131410613516107227114328191a1082342b1c11552d1f02433627282090a161718191a25262728292a3435363738"
    "393a434445464748494a535455565758595a636465666768696a737475767778797a838485868788898a92939495969798999aa2a3a4a5"
    "a6a7a8a9aab2b3b4b5b6b7b8b9bac2c3c4c5c6c7c8c9cad2d3d4d5d6d7d8d9dae1e2e3e4e5e6e7e8e9eaf1f2f3f4f5f6f7f8f9fa")
# A flat quantisation table: the DC step stays 8, as in the standard's example table.
QUANT = [16] + [1] * 63


def huffman_codes(bits, values):
    """The code of each value, as the standard's canonical assignment makes them."""
    codes, code, k = {}, 0, 0
    for length in range(1, 17):
        for _ in range(bits[length - 1]):
            codes[values[k]] = (code, length)
            code += 1
            k += 1
        code <<= 1
    return codes


class BitWriter:
    def __init__(self):
        self.out = bytearray()
        self.accumulator = 0
        self.count = 0

    def put(self, value, length):
        for i in range(length - 1, -1, -1):
            self.accumulator = (self.accumulator << 1) | ((value >> i) & 1)
            self.count += 1
            if self.count == 8:
                self.out.append(self.accumulator)
                if self.accumulator == 0xFF:
                    self.out.append(0)  # byte stuffing
                self.accumulator = 0
                self.count = 0

    def flush(self):
        if self.count:
            self.put((1 << (8 - self.count)) - 1, 8 - self.count)  # pad with ones
        return bytes(self.out)


def segment(marker, payload):
    return bytes([0xFF, marker]) + struct.pack(">H", len(payload) + 2) + payload


def entropy_data(tones):
    """Four blocks in raster order, each one DC difference and an end of block."""
    dc = huffman_codes(DC_BITS, DC_VALUES)
    ac = huffman_codes(AC_BITS, list(AC_VALUES))
    writer = BitWriter()
    previous = 0
    for tone in tones:
        # The DC coefficient of a flat block is 8 times its level shifted value, over the step.
        coefficient = round((tone - 128) * 8 / QUANT[0])
        difference = coefficient - previous
        previous = coefficient
        size = abs(difference).bit_length()
        code, length = dc[size]
        writer.put(code, length)
        if size:
            writer.put(difference if difference > 0 else difference + (1 << size) - 1, size)
        code, length = ac[0x00]  # end of block
        writer.put(code, length)
    return writer.flush()


def picture(tones, app1=b""):
    """A whole baseline JPEG: SOI, APP1, DQT, SOF0, DHT, SOS, data, EOI."""
    dqt = segment(0xDB, bytes([0]) + bytes(QUANT))  # zig-zag order; only the first entry matters
    sof = segment(0xC0, struct.pack(">BHHB", 8, HEIGHT, WIDTH, 1) + bytes([1, 0x11, 0]))
    dht = segment(0xC4, bytes([0x00]) + bytes(DC_BITS) + bytes(DC_VALUES) + bytes([0x10]) + bytes(AC_BITS) + AC_VALUES)
    sos = segment(0xDA, bytes([1, 1, 0x00, 0, 63, 0]))
    head = b"\xFF\xD8" + (segment(0xE1, app1) if app1 else b"")
    return head + dqt + sof + dht + sos + entropy_data(tones) + b"\xFF\xD9"


class Ifd:
    """A little-endian IFD whose values are laid out after it."""

    TYPES = {"BYTE": (1, 1), "ASCII": (2, 1), "SHORT": (3, 2), "LONG": (4, 4), "RATIONAL": (5, 8),
             "UNDEFINED": (7, 1)}

    def __init__(self):
        self.entries = []

    def add(self, tag, type_name, value):
        self.entries.append((tag, type_name, value))

    @staticmethod
    def encode(type_name, value):
        if type_name == "ASCII":
            return value.encode("ascii") + b"\0", len(value) + 1
        if type_name == "UNDEFINED":
            return value, len(value)
        if type_name == "SHORT":
            return struct.pack("<H", value), 1
        if type_name == "LONG":
            return struct.pack("<I", value), 1
        if type_name == "RATIONAL":
            return struct.pack("<II", *value), 1
        raise ValueError(type_name)

    def size(self):
        return 2 + 12 * len(self.entries) + 4 + sum(
            (len(self.encode(t, v)[0]) + 1) & ~1 for _, t, v in self.entries if len(self.encode(t, v)[0]) > 4)

    def build(self, offset, next_offset=0):
        """The IFD's bytes when it stands at offset (from the TIFF header)."""
        data_at = offset + 2 + 12 * len(self.entries) + 4
        directory = struct.pack("<H", len(self.entries))
        data = b""
        for tag, type_name, value in sorted(self.entries, key=lambda e: e[0]):
            raw, count = self.encode(type_name, value)
            type_number = self.TYPES[type_name][0]
            if len(raw) <= 4:
                directory += struct.pack("<HHI", tag, type_number, count) + raw.ljust(4, b"\0")
            else:
                directory += struct.pack("<HHII", tag, type_number, count, data_at + len(data))
                data += raw + (b"\0" if len(raw) & 1 else b"")
        return directory + struct.pack("<I", next_offset) + data


def exif_segment(frame, thumbnail):
    """The APP1 payload of a scanner's Exif for one scan."""
    zeroth, exif, first = Ifd(), Ifd(), Ifd()
    zeroth.add(271, "ASCII", "Nikon")
    zeroth.add(272, "ASCII", "Nikon SUPER COOLSCAN 5000 ED")
    zeroth.add(282, "RATIONAL", (4000, 1))
    zeroth.add(283, "RATIONAL", (4000, 1))
    zeroth.add(296, "SHORT", 2)
    zeroth.add(305, "ASCII", "Nikon Scan 4.0.3 W")
    zeroth.add(306, "ASCII", "2026:06:20 10:%02d:%02d" % (frame // 60, frame % 60))
    zeroth.add(531, "SHORT", 1)
    zeroth.add(34665, "LONG", 0)  # patched below
    exif.add(36864, "UNDEFINED", b"0221")
    exif.add(37121, "UNDEFINED", b"\x01\x02\x03\x00")
    exif.add(40960, "UNDEFINED", b"0100")
    exif.add(40961, "SHORT", 1)
    exif.add(40962, "LONG", WIDTH)
    exif.add(40963, "LONG", HEIGHT)
    first.add(259, "SHORT", 6)
    first.add(282, "RATIONAL", (72, 1))
    first.add(283, "RATIONAL", (72, 1))
    first.add(296, "SHORT", 2)
    first.add(513, "LONG", 0)  # patched below
    first.add(514, "LONG", len(thumbnail))

    zeroth_at = 8
    exif_at = zeroth_at + zeroth.size()
    first_at = exif_at + exif.size()
    thumbnail_at = first_at + first.size()
    zeroth.entries[-1] = (34665, "LONG", exif_at)
    first.entries[4] = (513, "LONG", thumbnail_at)
    tiff = b"II*\0" + struct.pack("<I", zeroth_at)
    tiff += zeroth.build(zeroth_at, first_at) + exif.build(exif_at) + first.build(first_at) + thumbnail
    return b"Exif\0\0" + tiff


def main():
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "scans")
    os.makedirs(folder, exist_ok=True)
    for frame in range(1, FRAMES + 1):
        # Four tones per frame: a film frame's darker top and lighter foot, different each time.
        base = 40 + (frame * 5) % 160
        tones = [base, base + 16, base + 32, base + 48]
        thumbnail = picture(tones)
        with open(os.path.join(folder, "scan_%04d.jpg" % frame), "wb") as out:
            out.write(picture(tones, exif_segment(frame, thumbnail)))


if __name__ == "__main__":
    main()
