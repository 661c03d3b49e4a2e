#include "platform/trace_json.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace quorle {
namespace {

/// The word that names each HandleType.
constexpr const char* kHandleWords[] = {"lock",   "fh",      "port", "examine", "mem",
                                        "rdargs", "devproc", "msg",  "context", "notify"};

/// Whether the field of an argument template at `field` holds the modifier `modifier` ("/S").
bool HasModifier(std::string_view field, char modifier) {
  for (std::size_t i = 0; i + 1 < field.size(); ++i) {
    if (field[i] == '/' && (field[i + 1] | 0x20) == (modifier | 0x20)) return true;
  }
  return false;
}

/// Writes values behind a text.
class JsonWriter {
 public:
  explicit JsonWriter(std::string& out) : out_(out) {}

  // ---- Plain values --------------------------------------------------------------------------
  void operator()(std::monostate) { out_ += "null"; }
  void operator()(bool value) { out_ += value ? "true" : "false"; }
  void operator()(std::int64_t value) { out_ += std::to_string(value); }
  void operator()(std::string_view text) {
    out_ += '"';
    while (!text.empty()) {
      const std::size_t plain = PlainLength(text);
      out_ += text.substr(0, plain);
      text.remove_prefix(plain);
      if (text.empty()) break;
      Escaped(static_cast<unsigned char>(text.front()));
      text.remove_prefix(1);
    }
    out_ += '"';
  }
  void operator()(Tag tag) {
    char text[sizeof "0x80001965"];
    std::snprintf(text, sizeof text, "0x%08lx", static_cast<unsigned long>(tag.value));
    (*this)(std::string_view(text));
  }
  void operator()(TraceHandle handle) {
    if (handle.number == 0) {
      out_ += "null";
      return;
    }
    out_ += '"';
    out_ += kHandleWords[static_cast<std::size_t>(handle.type)];
    out_ += ':';
    out_ += std::to_string(handle.number);
    out_ += '"';
  }

  // ---- Records -------------------------------------------------------------------------------
  void operator()(const quorle::DateStamp& date) {
    Object([&] {
      Field("days", date.ds_Days);
      Field("minutes", date.ds_Minute);
      Field("ticks", date.ds_Tick);
    });
  }
  void operator()(const TraceRecord& record) {
    const ExamineData& data = *record.data;
    Object([&] {
      Field("handle", record.handle);
      Field("type", data.Type);
      Field("size", data.FileSize);
      Field("date", data.Date);
      Field("refcount", data.RefCount);
      Field("objectid", data.ObjectID);
      Field("name", data.Name);
      Field("comment", data.Comment);
      Field("link", data.Link);
      Field("protection", data.Protection);
      Field("owner", data.OwnerUID);
      Field("group", data.OwnerGID);
    });
  }
  void operator()(const TraceDevice& device) {
    Object([&] {
      Field("devproc", device.devproc);
      Field("port", device.port);
      Field("node_type", std::uint32_t{device.record.node_type});
      Field("version", device.record.version);
      Field("word78", device.record.word78);
    });
  }
  void operator()(const TraceRead& read) {
    Object([&] {
      Field("count", read.count);
      Field("data", read.data);
    });
  }
  void operator()(const TraceLink& link) {
    Object([&] {
      Field("length", link.length);
      Field("target", link.target);
    });
  }
  void operator()(const TraceAttributes& attributes) {
    Object([&] {
      Field("version", attributes.version);
      Field("dostype", attributes.dos_type);
    });
  }
  void operator()(const TraceDisk& disk) {
    Object([&] {
      Field("state", disk.state);
      Field("type", disk.type);
    });
  }
  void operator()(const TraceVolume& volume) {
    const InfoData& info = *volume.info;
    Object([&] {
      Field("state", info.id_DiskState);
      Field("type", info.id_DiskType);
      Field("blocks", static_cast<std::uint32_t>(info.id_NumBlocks));
      Field("used", static_cast<std::uint32_t>(info.id_NumBlocksUsed));
      Field("blocksize", static_cast<std::uint32_t>(info.id_BytesPerBlock));
      Field("inuse", info.id_InUse);
    });
  }
  void operator()(const TraceProcess& process) {
    Object([&] { Field("cli", process.cli); });
  }
  void operator()(const Library* library) {
    Object([&] {
      Field("version", std::uint32_t{library->lib_Version});
      Field("revision", std::uint32_t{library->lib_Revision});
    });
  }
  /// The argument words, each as its field of the template says.
  void operator()(const TraceWords& arguments) {
    std::string_view fields = arguments.words.fields;
    const ArgumentWord* word = arguments.words.words;
    List([&] {
      for (bool more = true; more; ++word) {
        const std::size_t comma = fields.find(',');
        Word(fields.substr(0, comma), *word);
        more = comma != std::string_view::npos;
        fields.remove_prefix(more ? comma + 1 : fields.size());
      }
    });
  }

  void operator()(std::int32_t value) { (*this)(std::int64_t{value}); }
  void operator()(std::uint32_t value) { (*this)(std::int64_t{value}); }
  void operator()(std::uint64_t value) { out_ += std::to_string(value); }
  void operator()(const char* text) {
    if (text == nullptr) {
      out_ += "null";
    } else {
      (*this)(std::string_view(text));
    }
  }
  template <class Value>
  void operator()(const std::optional<Value>& value) {
    if (value) {
      (*this)(*value);
    } else {
      out_ += "null";
    }
  }

  void Any(const TraceValue& value) {
    std::visit([this](const auto& known) { Item(known); }, value);
  }

  // ---- Objects and lists ---------------------------------------------------------------------
  template <class Fields>
  void Object(const Fields& fields) {
    Enclosed('{', fields, '}');
  }
  template <class Items>
  void List(const Items& items) {
    Enclosed('[', items, ']');
  }
  template <class Value>
  void Field(std::string_view name, const Value& value) {
    Name(name);
    Item(value);
  }
  void Name(std::string_view name) {
    Item(name);
    out_ += ':';
    separate_ = false;
  }
  template <class Value>
  void Item(const Value& value) {
    if (separate_) out_ += ',';
    (*this)(value);
    separate_ = true;
  }

 private:
  template <class Content>
  void Enclosed(char open, const Content& content, char close) {
    out_ += open;
    separate_ = false;
    content();
    out_ += close;
    separate_ = true;
  }

  void Word(std::string_view field, const ArgumentWord& word) {
    if (HasModifier(field, 'S')) {
      Item(word.flag != 0);
    } else if (!HasModifier(field, 'N')) {
      Item(word.text);
    } else if (word.number == nullptr) {
      Item(std::monostate());
    } else {
      Item(*word.number);
    }
  }

  /// How many characters at the beginning of `text` are written as they are.
  static std::size_t PlainLength(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size()) {
      const auto c = static_cast<unsigned char>(text[length]);
      if (c < 0x20 || c >= 0x80 || c == '"' || c == '\\') break;
      ++length;
    }
    return length;
  }

  void Escaped(unsigned char c) {
    constexpr std::string_view kShort = "\"\\\n\r\t\f";
    constexpr std::string_view kLetters = "\"\\nrtf";
    out_ += '\\';
    if (const std::size_t at = kShort.find(static_cast<char>(c)); at != kShort.npos) {
      out_ += kLetters[at];
      return;
    }
    constexpr char kDigits[] = "0123456789abcdef";
    out_ += "u00";
    out_ += kDigits[c >> 4];
    out_ += kDigits[c & 15];
  }

  std::string& out_;
  bool separate_ = false;  ///< whether a comma comes before the next item
};

}  // namespace

void AppendJson(const TraceEvent& event, std::string& line) {
  JsonWriter json(line);
  json.Object([&] {
    json.Field("op", event.op);
    if (event.is_output()) {
      json.Field("text", event.text);
      return;
    }
    json.Name("args");
    json.List([&] {
      for (const TraceValue& arg : event.args) json.Any(arg);
    });
    json.Name("result");
    json.Any(event.result);
    json.Field("ioerr", event.ioerr);
    if (event.emulated) json.Field("emulated", true);
  });
  line += '\n';
}

}  // namespace quorle
