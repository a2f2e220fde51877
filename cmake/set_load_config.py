"""Enters the section ".loadcfg" of a 64-bit Windows program into its header as the load
configuration: set_load_config.py PROGRAM. See platform/windows/load_config.cc."""
import pathlib
import struct
import sys

program = pathlib.Path(sys.argv[1])
content = bytearray(program.read_bytes())
header = struct.unpack_from("<I", content, 0x3C)[0]
assert content[header:header + 4] == b"PE\0\0", "no Windows program"
sections, optional_size = struct.unpack_from("<6xH12xH", content, header)
optional = header + 24
first_section = optional + optional_size
for at in range(first_section, first_section + 40 * sections, 40):
    name, size, address = struct.unpack_from("<8sII", content, at)
    if name == b".loadcfg":
        # Entry 10 of the data directories; each has an address and a size.
        struct.pack_into("<II", content, optional + 112 + 10 * 8, address, size)
        struct.pack_into("<I", content, optional + 64, 0)  # No checksum: the old one is wrong now.
        program.write_bytes(content)
        break
else:
    sys.exit(f"{program}: no section .loadcfg")
