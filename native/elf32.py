"""Reads ELF files for 32-bit big-endian PowerPC, as far as the scripts in this folder need it."""
import collections
import struct

PT_LOAD = 1
SHT_PROGBITS, SHT_SYMTAB, SHT_STRTAB, SHT_RELA, SHT_NOBITS = 1, 2, 3, 4, 8
SHF_WRITE, SHF_ALLOC, SHF_EXECINSTR = 1, 2, 4
SHN_ABS = 0xFFF1
STB_LOCAL, STB_GLOBAL = 0, 1
STT_NOTYPE, STT_FUNC, STT_SECTION = 0, 2, 3

R_PPC_ADDR32, R_PPC_ADDR16_LO, R_PPC_ADDR16_HA = 1, 4, 6
R_PPC_REL24 = 10

HEADER = ">16sHHIIIIIHHHHHH"
PROGRAM_HEADER = ">8I"
SECTION_HEADER = ">10I"
SYMBOL = ">IIIBBH"
RELOCATION = ">IIi"

Header = collections.namedtuple(
    "Header", "ident type machine version entry phoff shoff flags ehsize phentsize phnum shentsize shnum shstrndx")
Segment = collections.namedtuple("Segment", "type offset vaddr paddr filesz memsz flags align")
Symbol = collections.namedtuple("Symbol", "name value size binding type visibility section")
Relocation = collections.namedtuple("Relocation", "offset kind symbol addend")


class Section:
    def __init__(self, number, fields, data):
        (self.name_at, self.type, self.flags, self.addr, self.offset, self.size, self.link, self.info, self.align,
         self.entsize) = fields
        self.number = number
        self.name = ""
        self.data = b"" if self.type == SHT_NOBITS else data[self.offset:self.offset + self.size]

    @property
    def loaded(self):
        return bool(self.flags & SHF_ALLOC) and self.size > 0


def _text(table, at):
    return table[at:table.index(b"\0", at)].decode("latin-1")


class Elf:
    def __init__(self, path):
        with open(path, "rb") as file:
            self.data = data = file.read()
        self.header = h = Header(*struct.unpack_from(HEADER, data))
        self.segments = [Segment(*struct.unpack_from(PROGRAM_HEADER, data, h.phoff + 32 * i)) for i in range(h.phnum)]
        self.sections = [
            Section(i, struct.unpack_from(SECTION_HEADER, data, h.shoff + 40 * i), data) for i in range(h.shnum)
        ]
        names = self.sections[h.shstrndx].data
        for section in self.sections:
            section.name = _text(names, section.name_at)
        self.symbols = []
        for table in self.sections:
            if table.type == SHT_SYMTAB:
                strings = self.sections[table.link].data
                for name, value, size, info, other, section in struct.iter_unpack(SYMBOL, table.data):
                    self.symbols.append(
                        Symbol(_text(strings, name), value, size, info >> 4, info & 15, other & 3, section))

    @property
    def loaded(self):
        """The sections that are loaded, in file order."""
        return [section for section in self.sections if section.loaded]

    def relocations(self):
        """Pairs of a loaded section and the list of its relocations."""
        for table in self.sections:
            if table.type == SHT_RELA and self.sections[table.info].loaded:
                yield self.sections[table.info], [
                    Relocation(offset, info & 0xFF, self.symbols[info >> 8], addend)
                    for offset, info, addend in struct.iter_unpack(RELOCATION, table.data)
                ]
