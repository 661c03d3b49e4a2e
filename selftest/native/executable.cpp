#include "selftest/native/executable.h"

#include <elf.h>
#include <sys/mman.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "selftest/native/gate.h"

namespace quorle::selftest {
namespace {

[[noreturn]] void Refuse(const std::string& what) {
  throw std::runtime_error("the executable: " + what);
}

std::uint32_t AddressOf(const unsigned char* place) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(place));
}

/// Where the sections go: far apart, in an order and at distances of their own, off page borders.
constexpr std::uintptr_t kPlaces[] = {0x52345000, 0x41678000, 0x4E012000, 0x43333000, 0x58888000};
constexpr std::size_t kOffPage = 0x230;

}  // namespace

template <class Record>
Record Executable::At(std::size_t offset) const {
  if (offset > data_.size() || data_.size() - offset < sizeof(Record)) Refuse("ends too early");
  Record record;
  std::memcpy(&record, &data_[offset], sizeof record);
  return record;
}

Executable::Executable(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) Refuse("cannot open " + path);
  data_.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());

  const auto header = At<Elf32_Ehdr>(0);
  const bool is_elf = std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0;
  if (!is_elf || header.e_ident[EI_CLASS] != ELFCLASS32 || header.e_ident[EI_DATA] != ELFDATA2MSB ||
      header.e_type != ET_EXEC || header.e_machine != EM_PPC) {
    Refuse("is of another format");
  }
  entry_address_ = header.e_entry;
  for (std::size_t i = 0; i < header.e_shnum; ++i) {
    const auto s = At<Elf32_Shdr>(header.e_shoff + i * sizeof(Elf32_Shdr));
    if (s.sh_type != SHT_NOBITS && s.sh_offset + s.sh_size > data_.size()) Refuse("is cut off");
    sections_.push_back(
        {s.sh_type, s.sh_flags, s.sh_addr, s.sh_offset, s.sh_size, s.sh_link, s.sh_info});
  }
  for (const Section& section : sections_) {
    if (section.type == SHT_SYMTAB) ReadSymbols(section);
  }

  constexpr std::string_view kCookie = "$STACK: ";
  const std::string_view text(reinterpret_cast<const char*>(data_.data()), data_.size());
  const std::size_t cookie = text.find(kCookie);
  if (cookie == std::string_view::npos) Refuse("asks for no stack");
  stack_bytes_ =
      static_cast<std::uint32_t>(std::stoul(std::string(text.substr(cookie + kCookie.size(), 8))));
}

void Executable::ReadSymbols(const Section& table) {
  const Section& strings = sections_.at(table.link);
  for (std::size_t at = 0; at < table.size; at += sizeof(Elf32_Sym)) {
    const auto symbol = At<Elf32_Sym>(table.offset + at);
    const auto* const name =
        reinterpret_cast<const char*>(&data_.at(strings.offset + symbol.st_name));
    symbols_.push_back({name, symbol.st_value, symbol.st_shndx});
  }
}

Executable::Image::Image(const Executable& file) {
  Map(file);
  Relocate(file);
  bool is_marked = false;
  for (const Symbol& symbol : file.symbols_) {
    if (symbol.name == "__amigaos4__") is_marked = symbol.value == 1 && symbol.section == SHN_ABS;
    if (symbol.name != "_start") continue;
    const Section& home = file.sections_.at(symbol.section);
    if (symbol.value != file.entry_address_) Refuse("enters elsewhere than at _start");
    entry_ = places_.at(symbol.section) + (symbol.value - home.address);
  }
  if (!is_marked) Refuse("is not marked for the platform");
  if (entry_ == nullptr) Refuse("has no _start");
  for (const Area& area : areas_) {
    FlushCode(area.start, area.bytes);
    mprotect(area.start, area.bytes, area.protection);
  }
}

Executable::Image::~Image() {
  for (const Area& area : areas_) munmap(area.start, area.bytes);
}

void Executable::Image::Map(const Executable& file) {
  places_.resize(file.sections_.size());
  for (std::size_t i = 0; i < file.sections_.size(); ++i) {
    const Section& section = file.sections_[i];
    if ((section.flags & SHF_ALLOC) == 0) continue;
    if (areas_.size() == std::size(kPlaces)) Refuse("has too many sections");
    const std::size_t bytes = kOffPage + section.size;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the address is ours to choose
    void* const wish = reinterpret_cast<void*>(kPlaces[areas_.size()]);
    void* const start = mmap(wish, bytes, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (start != wish) Refuse("finds no room");
    const bool writable = (section.flags & SHF_WRITE) != 0;
    const bool executable = (section.flags & SHF_EXECINSTR) != 0;
    areas_.push_back({static_cast<unsigned char*>(start), bytes,
                      PROT_READ | (writable ? PROT_WRITE : 0) | (executable ? PROT_EXEC : 0)});
    places_[i] = areas_.back().start + kOffPage;
    if (section.type == SHT_PROGBITS) {
      std::memcpy(places_[i], &file.data_[section.offset], section.size);
    } else if (section.type != SHT_NOBITS) {
      Refuse("has a loaded section of an odd kind");
    }
  }
}

void Executable::Image::Relocate(const Executable& file) {
  for (const Section& table : file.sections_) {
    if (table.type != SHT_RELA) continue;
    const Section& target = file.sections_.at(table.info);
    unsigned char* const place = places_.at(table.info);
    if (place == nullptr) continue;
    for (std::size_t at = 0; at < table.size; at += sizeof(Elf32_Rela)) {
      const auto relocation = file.At<Elf32_Rela>(table.offset + at);
      const Symbol& symbol = file.symbols_.at(ELF32_R_SYM(relocation.r_info));
      const unsigned char* const home = places_.at(symbol.section);
      if (home == nullptr) Refuse("refers to what is not loaded");
      const std::uint32_t value = AddressOf(home) + symbol.value -
                                  file.sections_[symbol.section].address +
                                  static_cast<std::uint32_t>(relocation.r_addend);
      unsigned char* const field = place + (relocation.r_offset - target.address);
      const auto low = static_cast<std::uint16_t>(value);
      const auto high = static_cast<std::uint16_t>((value + 0x8000) >> 16);
      switch (ELF32_R_TYPE(relocation.r_info)) {
        case R_PPC_ADDR32:
          std::memcpy(field, &value, sizeof value);
          break;
        case R_PPC_ADDR16_LO:
          std::memcpy(field, &low, sizeof low);
          break;
        case R_PPC_ADDR16_HA:
          std::memcpy(field, &high, sizeof high);
          break;
        case R_PPC_REL24: {
          // A branch: to anywhere in 32 MiB around itself.
          const std::uint32_t distance = value - AddressOf(field);
          if (distance + 0x2000000 >= 0x4000000) Refuse("branches too far");
          std::uint32_t branch = 0;
          std::memcpy(&branch, field, sizeof branch);
          branch = (branch & 0xFC000003) | (distance & 0x03FFFFFC);
          std::memcpy(field, &branch, sizeof branch);
          break;
        }
        default:
          Refuse("has a relocation of kind " + std::to_string(ELF32_R_TYPE(relocation.r_info)));
      }
    }
  }
}

}  // namespace quorle::selftest
