#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorle::selftest {

/// A file in the platform's executable format.
class Executable {
 public:
  /// Throws std::runtime_error when the file cannot be read or is none.
  explicit Executable(const std::string& path);

  /// How much stack the file asks for.
  std::uint32_t stack_bytes() const { return stack_bytes_; }

  /// The file in memory: every section at an address that has nothing to do with the others or with
  /// where it was linked, relocated, and only as writable and executable as its flags say.
  class Image {
   public:
    explicit Image(const Executable& file);
    ~Image();
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    const void* entry() const { return entry_; }

   private:
    struct Area {
      unsigned char* start;
      std::size_t bytes;
      int protection;
    };

    void Map(const Executable& file);
    void Relocate(const Executable& file);

    std::vector<Area> areas_;             ///< what was mapped
    std::vector<unsigned char*> places_;  ///< of each section; null when it is not loaded
    const void* entry_ = nullptr;
  };

 private:
  friend class Image;

  struct Section {
    std::uint32_t type;
    std::uint32_t flags;
    std::uint32_t address;
    std::uint32_t offset;
    std::uint32_t size;
    std::uint32_t link;
    std::uint32_t info;
  };
  struct Symbol {
    std::string name;
    std::uint32_t value;
    std::uint32_t section;
  };

  template <class Record>
  Record At(std::size_t offset) const;
  void ReadSymbols(const Section& table);

  std::vector<unsigned char> data_;
  std::uint32_t entry_address_ = 0;
  std::vector<Section> sections_;
  std::vector<Symbol> symbols_;
  std::uint32_t stack_bytes_ = 0;
};

}  // namespace quorle::selftest
