"""Writes the binary inputs of the test modules into a folder: an icon, data, an overlay."""
import os
import struct
import sys

folder = sys.argv[1]


def write(name, data):
    with open(os.path.join(folder, name), "wb") as file:
        file.write(data)


pixels = bytes(range(256)) * 4  # 16 x 16 pixels of 32 bits
mask = bytes(4 * 16)
image = struct.pack("<IiiHHIIiiII", 40, 16, 32, 1, 32, 0, len(pixels), 0, 0, 0, 0) + pixels + mask
write("icon.ico", struct.pack("<HHHBBBBHHII", 0, 1, 1, 16, 16, 0, 0, 1, 32, len(image), 22) + image)
write("alpha.bin", bytes(range(256)) * 10 + b"odd")
write("overlay.bin", b"overlay behind the last section\n" * 37 + b"!")
