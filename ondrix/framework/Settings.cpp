#include "ondrix/framework/Settings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ondrix/framework/ClassInfo.h"
#include "ondrix/framework/Registry.h"
#include "ondrix/framework/TCollection.h"
#include "ondrix/framework/TStream.h"
#include "ondrix/framework/errors.h"

namespace ondrix {

/// The settings reader's access to a component's loading state.
struct TComponentAccess {
  static void SetLoading(TComponent& C, bool Value) {
    if (Value) {
      C.state_.Include(csLoading);
    } else {
      C.state_.Exclude(csLoading);
    }
  }
  static void Loaded(TComponent& C) { C.Loaded(); }
};

namespace {

// Keys keep their order, so files read in the order of the property tables.
using json = nlohmann::ordered_json;

// --- base64 ----------------------------------------------------------------------------------

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string Base64Encode(const std::uint8_t* Data, std::size_t Size) {
  std::string out;
  out.reserve((Size + 2) / 3 * 4);
  for (std::size_t i = 0; i < Size; i += 3) {
    const std::uint32_t b0 = Data[i];
    const std::uint32_t b1 = i + 1 < Size ? Data[i + 1] : 0;
    const std::uint32_t b2 = i + 2 < Size ? Data[i + 2] : 0;
    const std::uint32_t v = (b0 << 16) | (b1 << 8) | b2;
    out += kBase64[(v >> 18) & 63];
    out += kBase64[(v >> 12) & 63];
    out += i + 1 < Size ? kBase64[(v >> 6) & 63] : '=';
    out += i + 2 < Size ? kBase64[v & 63] : '=';
  }
  return out;
}

std::optional<std::vector<std::uint8_t>> Base64Decode(std::string_view Text) {
  if (Text.size() % 4 != 0) return std::nullopt;
  auto digit = [](char c) -> int {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
  };
  std::vector<std::uint8_t> out;
  out.reserve(Text.size() / 4 * 3);
  for (std::size_t i = 0; i < Text.size(); i += 4) {
    const bool last = i + 4 == Text.size();
    const int pad = last ? (Text[i + 3] == '=') + (Text[i + 2] == '=') : 0;
    if (pad == 1 && Text[i + 2] == '=') return std::nullopt;
    std::uint32_t v = 0;
    for (int k = 0; k < 4; ++k) {
      const int d = k >= 4 - pad ? 0 : digit(Text[i + k]);
      if (d < 0) return std::nullopt;
      v = (v << 6) | static_cast<std::uint32_t>(d);
    }
    out.push_back(static_cast<std::uint8_t>(v >> 16));
    if (pad < 2) out.push_back(static_cast<std::uint8_t>(v >> 8));
    if (pad < 1) out.push_back(static_cast<std::uint8_t>(v));
  }
  return out;
}

// --- shared ----------------------------------------------------------------------------------

bool IsSubObject(const TPropInfo& P) { return P.Kind == TPropKind::Object || P.Kind == TPropKind::Collection; }

/// Names a component in error messages: its name, or its class in angle brackets.
std::string Label(const TComponent& C) { return C.Name().empty() ? "<" + C.ClassName() + ">" : C.Name(); }

json DoubleToJson(double D) {
  if (std::isnan(D)) return "NaN";
  if (std::isinf(D)) return D > 0 ? "Infinity" : "-Infinity";
  return D;
}

// --- writing ---------------------------------------------------------------------------------

struct TWriteContext {
  const TComponent* Root = nullptr;  // link names are relative to it (and "^" to its owner)
  bool SkipDefaults = false;
  bool Links = true;
};

[[noreturn]] void WriteFail(const std::string& Where, const std::string& What) {
  throw EWriteError("Cannot write settings at " + Where + ": " + What);
}

/// Path of names from Base down to Target ("" for Base itself), or nullopt if Target is
/// not owned, directly or not, by Base.
std::optional<std::string> PathBelow(const TComponent* Base, const TComponent* Target, const std::string& Where) {
  std::vector<const TComponent*> chain;
  const TComponent* c = Target;
  for (; c && c != Base; c = c->Owner()) chain.push_back(c);
  if (c != Base) return std::nullopt;
  std::string path;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    if ((*it)->Name().empty()) WriteFail(Where, "the linked component " + Label(**it) + " has no name");
    if (!path.empty()) path += '.';
    path += (*it)->Name();
  }
  return path;
}

std::string LinkName(const TComponent& Target, const TWriteContext& Ctx, const std::string& Where) {
  if (auto path = PathBelow(Ctx.Root, &Target, Where)) return *path;
  if (const TComponent* base = Ctx.Root->Owner()) {
    if (auto path = PathBelow(base, &Target, Where)) return "^" + *path;
  }
  WriteFail(Where, "the linked component " + Label(Target) + " is outside the saved components");
}

json WritePersistent(const TPersistent& Obj, const TWriteContext& Ctx, const std::string& Where);

json FloatArrayToJson(const TFloatArray& A) {
  json values = json::array();
  for (double v : A.Values) values.push_back(DoubleToJson(v));
  return json{{"complex", A.Complex}, {"values", std::move(values)}};
}

std::optional<json> WriteValue(const TPropInfo& P, const TObject& Obj, const TWriteContext& Ctx,
                               const std::string& Where) {
  const TPropValue v = P.Get(Obj);
  switch (P.Kind) {
    case TPropKind::Bool: return json(std::get<bool>(v));
    case TPropKind::Integer: return json(std::get<std::int64_t>(v));
    case TPropKind::Double: return DoubleToJson(std::get<double>(v));
    case TPropKind::String: return json(std::get<std::string>(v));
    case TPropKind::Enum: {
      const std::int64_t ordinal = std::get<std::int64_t>(v);
      if (ordinal < 0 || ordinal >= static_cast<std::int64_t>(P.EnumNames.size())) {
        WriteFail(Where, "enumeration ordinal " + std::to_string(ordinal) + " has no name");
      }
      return json(P.EnumNames[static_cast<std::size_t>(ordinal)]);
    }
    case TPropKind::Component: {
      if (!Ctx.Links) return std::nullopt;
      const TComponent* target = std::get<TComponent*>(v);
      if (!target) return json(nullptr);
      return json(LinkName(*target, Ctx, Where));
    }
    case TPropKind::Object: {
      const TPersistent* sub = std::get<TPersistent*>(v);
      if (!sub) return std::nullopt;
      json j = WritePersistent(*sub, Ctx, Where);
      if (j.empty() && Ctx.SkipDefaults) return std::nullopt;
      return j;
    }
    case TPropKind::Collection: {
      const auto* coll = dynamic_cast<const TCollection*>(std::get<TPersistent*>(v));
      if (!coll) return std::nullopt;
      json items = json::array();
      for (int i = 0; i < coll->Count(); ++i) {
        items.push_back(WritePersistent(*coll->Items(i), Ctx, Where + "[" + std::to_string(i) + "]"));
      }
      return items;
    }
    case TPropKind::FloatArray: return FloatArrayToJson(std::get<TFloatArray>(v));
  }
  return std::nullopt;
}

json WriteProperties(const TObject& Obj, const TWriteContext& Ctx, const std::string& Where) {
  json props = json::object();
  for (const TPropInfo* p : Obj.ClassInfo().AllProperties()) {
    if (!IsSubObject(*p) && !p->Set) continue;  // read-only values are not settings
    if (!p->IsStored(Obj)) continue;
    if (Ctx.SkipDefaults && p->Default && p->Get(Obj) == *p->Default) continue;
    if (auto j = WriteValue(*p, Obj, Ctx, Where + "." + p->Name)) props[p->Name] = std::move(*j);
  }
  return props;
}

/// Collects what DefineProperties gives a writer: binary properties as base64, JSON
/// properties as they are.
class TJsonWriteFiler : public TFiler {
public:
  TJsonWriteFiler(const TWriteContext& Ctx, const std::string& Where) : ctx_(Ctx), where_(Where) {}
  void DefineBinaryProperty(const std::string& Name, TStreamProc, TStreamProc WriteData, bool HasData) override {
    if (!HasData || !WriteData) return;
    TMemoryStream m;
    WriteData(m);
    Binary[Name] = Base64Encode(m.Memory(), static_cast<std::size_t>(m.Size()));
  }
  void DefineJsonProperty(const std::string& Name, TJsonReadProc, TJsonWriteProc WriteData, bool HasData,
                          bool IsDefault) override {
    if (!HasData || !WriteData || (IsDefault && ctx_.SkipDefaults)) return;
    json value;
    try {
      WriteData(value);
    } catch (const std::exception& e) {
      WriteFail(where_ + "." + Name, e.what());
    }
    Values.emplace_back(Name, std::move(value));
  }

  json Binary = json::object();
  std::vector<std::pair<std::string, json>> Values;

private:
  const TWriteContext& ctx_;
  const std::string& where_;
};

json WritePersistent(const TPersistent& Obj, const TWriteContext& Ctx, const std::string& Where) {
  json j = json::object();
  json props = WriteProperties(Obj, Ctx, Where);
  TJsonWriteFiler filer(Ctx, Where);
  // DefineProperties serves reading and writing; the writer calls only the write procedures.
  const_cast<TPersistent&>(Obj).DefineProperties(filer);
  for (auto& [name, value] : filer.Values) {
    if (Obj.ClassInfo().FindProperty(name)) WriteFail(Where, "JSON property " + name + " hides a published property");
    props[name] = std::move(value);
  }
  if (!props.empty()) j["properties"] = std::move(props);
  if (!filer.Binary.empty()) j["binary"] = std::move(filer.Binary);
  return j;
}

json WriteComponent(const TComponent& C, const TWriteContext& Ctx, const std::string& Where, bool Recurse) {
  json j = json::object();
  j["class"] = C.ClassName();
  if (!C.Name().empty() && Recurse) j["name"] = C.Name();
  json body = WritePersistent(C, Ctx, Where);
  for (auto it = body.begin(); it != body.end(); ++it) j[it.key()] = std::move(*it);
  if (Recurse && C.ComponentCount() > 0) {
    json children = json::array();
    for (int i = 0; i < C.ComponentCount(); ++i) {
      const TComponent& child = *C.Components(i);
      children.push_back(WriteComponent(child, Ctx, Where + "/" + Label(child), true));
    }
    j["components"] = std::move(children);
  }
  return j;
}

std::string Dump(const json& J) {
  try {
    return J.dump(2);
  } catch (const json::exception& e) {
    throw EWriteError(std::string("Cannot write settings: ") + e.what());
  }
}

// --- reading ---------------------------------------------------------------------------------

[[noreturn]] void Fail(const std::string& Where, const std::string& What) {
  throw EReadError("Invalid settings at " + Where + ": " + What);
}

struct TFixup {
  TObject* Obj;
  const TPropInfo* Prop;
  std::optional<std::string> Path;  // nullopt: a nil link
  std::string Where;
};

struct TReadContext {
  TComponent* Root = nullptr;       // "" and plain names resolve here
  TComponent* OwnerBase = nullptr;  // "^" names resolve here
  bool Apply = true;                // false: check everything, change nothing
  bool Links = true;                // false: link values are ignored
  bool DeferLinks = false;          // true for new trees: links are set once all exist
  std::vector<TFixup> Fixups;
  std::vector<TComponent*> Touched;  // created or loaded, in order
  int Depth = 0;                      // components being read, the root included
};

// Real graphs nest a few levels; a limit keeps a hostile file from exhausting the stack (and
// the quadratic growth of the place names).
constexpr int kMaxComponentDepth = 64;

json Parse(const std::string& Text) {
  try {
    return json::parse(Text);
  } catch (const json::exception& e) {
    throw EReadError(std::string("Invalid settings: ") + e.what());
  }
}

void CheckKeys(const json& J, std::initializer_list<std::string_view> Allowed, const std::string& Where) {
  for (auto it = J.begin(); it != J.end(); ++it) {
    bool ok = false;
    for (std::string_view a : Allowed) ok = ok || it.key() == a;
    if (!ok) Fail(Where, "unknown entry \"" + it.key() + "\"");
  }
}

TComponent* Resolve(const std::string& Path, const TReadContext& Ctx, const std::string& Where) {
  TComponent* c = Ctx.Root;
  std::string_view rest = Path;
  if (!rest.empty() && rest.front() == '^') {
    c = Ctx.OwnerBase;
    rest.remove_prefix(1);
    if (!c) Fail(Where, "link \"" + Path + "\" refers to an owner, and there is none");
  }
  while (!rest.empty()) {
    const std::size_t dot = rest.find('.');
    const std::string_view name = rest.substr(0, dot);
    c = c->FindComponent(name);
    if (!c) Fail(Where, "no component named \"" + Path + "\"");
    rest = dot == std::string_view::npos ? std::string_view() : rest.substr(dot + 1);
  }
  return c;
}

void SetChecked(TObject& Obj, const TPropInfo& P, const TPropValue& V, const std::string& Where) {
  try {
    P.Set(Obj, V);
  } catch (const EReadError&) {
    throw;
  } catch (const std::exception& e) {
    Fail(Where, e.what());
  }
}

void CheckLinkClass(const TPropInfo& P, const TComponent* Target, const std::string& Where) {
  if (Target && P.Accepts && !P.Accepts(*Target)) {
    Fail(Where, "component " + Label(*Target) + " of class " + Target->ClassName() + " does not fit the property");
  }
}

double JsonToDouble(const json& J, const std::string& Where) {
  if (J.is_number()) return J.get<double>();
  if (J.is_string()) {
    const std::string& s = J.get_ref<const std::string&>();
    if (s == "NaN") return std::numeric_limits<double>::quiet_NaN();
    if (s == "Infinity") return std::numeric_limits<double>::infinity();
    if (s == "-Infinity") return -std::numeric_limits<double>::infinity();
  }
  Fail(Where, "a number expected");
}

TPropValue JsonToValue(const TPropInfo& P, const json& J, const std::string& Where) {
  switch (P.Kind) {
    case TPropKind::Bool:
      if (!J.is_boolean()) Fail(Where, "a boolean expected");
      return TPropValue(std::in_place_type<bool>, J.get<bool>());
    case TPropKind::Integer:
      if (!J.is_number_integer()) Fail(Where, "an integer expected");
      if (J.is_number_unsigned() && J.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
        Fail(Where, "integer out of range");
      }
      return TPropValue(std::in_place_type<std::int64_t>, J.get<std::int64_t>());
    case TPropKind::Double: return TPropValue(std::in_place_type<double>, JsonToDouble(J, Where));
    case TPropKind::String:
      if (!J.is_string()) Fail(Where, "a string expected");
      return TPropValue(std::in_place_type<std::string>, J.get<std::string>());
    case TPropKind::Enum: {
      if (!J.is_string()) Fail(Where, "an enumeration value name expected");
      const int ordinal = P.EnumOrdinal(J.get_ref<const std::string&>());
      if (ordinal < 0) Fail(Where, "unknown value \"" + J.get<std::string>() + "\"");
      return TPropValue(std::in_place_type<std::int64_t>, ordinal);
    }
    case TPropKind::FloatArray: {
      if (!J.is_object() || !J.contains("complex") || !J.contains("values") || J.size() != 2 ||
          !J["complex"].is_boolean() || !J["values"].is_array()) {
        Fail(Where, "{\"complex\": boolean, \"values\": [numbers]} expected");
      }
      TFloatArray a;
      a.Complex = J["complex"].get<bool>();
      for (const json& v : J["values"]) a.Values.push_back(JsonToDouble(v, Where));
      if (a.Complex && a.Values.size() % 2 != 0) Fail(Where, "a complex array needs an even number of values");
      return TPropValue(std::in_place_type<TFloatArray>, std::move(a));
    }
    default: break;
  }
  Fail(Where, "internal: not a scalar property");
}

void ReadPersistent(TPersistent& Obj, const json& J, TReadContext& Ctx, const std::string& Where);

void ReadLink(TObject& Obj, const TPropInfo& P, const json& J, TReadContext& Ctx, const std::string& Where) {
  if (!Ctx.Links) return;
  if (!J.is_null() && !J.is_string()) Fail(Where, "a component name expected");
  std::optional<std::string> path;
  if (J.is_string()) path = J.get<std::string>();
  if (Ctx.DeferLinks) {
    Ctx.Fixups.push_back({&Obj, &P, std::move(path), Where});
    return;
  }
  TComponent* target = path ? Resolve(*path, Ctx, Where) : nullptr;
  CheckLinkClass(P, target, Where);
  if (Ctx.Apply) SetChecked(Obj, P, TPropValue(std::in_place_type<TComponent*>, target), Where);
}

void ReadCollection(TCollection& Coll, const json& J, TReadContext& Ctx, const std::string& Where) {
  if (!J.is_array()) Fail(Where, "an array of items expected");
  if (!Ctx.Apply) {
    // Check each entry against a detached item of the collection's item class.
    for (std::size_t i = 0; i < J.size(); ++i) {
      std::unique_ptr<TCollectionItem> probe = Coll.CreateItem();
      ReadPersistent(*probe, J[i], Ctx, Where + "[" + std::to_string(i) + "]");
    }
    return;
  }
  Coll.BeginUpdate();
  try {
    Coll.Clear();
    for (std::size_t i = 0; i < J.size(); ++i) {
      ReadPersistent(*Coll.Add(), J[i], Ctx, Where + "[" + std::to_string(i) + "]");
    }
  } catch (...) {
    Coll.EndUpdate();
    throw;
  }
  Coll.EndUpdate();
}

/// What DefineProperties gives a reader.
class TJsonReadFiler : public TFiler {
public:
  struct TBinaryEntry {
    std::string Name;
    TStreamProc Read;
  };
  struct TJsonEntry {
    std::string Name;
    TJsonReadProc Read;
  };
  void DefineBinaryProperty(const std::string& Name, TStreamProc ReadData, TStreamProc, bool) override {
    BinaryEntries.push_back({Name, std::move(ReadData)});
  }
  void DefineJsonProperty(const std::string& Name, TJsonReadProc ReadData, TJsonWriteProc, bool, bool) override {
    JsonEntries.push_back({Name, std::move(ReadData)});
  }
  const TJsonEntry* FindJson(const std::string& Name) const {
    for (const TJsonEntry& e : JsonEntries) {
      if (e.Name == Name) return &e;
    }
    return nullptr;
  }
  std::vector<TBinaryEntry> BinaryEntries;
  std::vector<TJsonEntry> JsonEntries;
};

void ReadJsonProperty(const TJsonReadFiler::TJsonEntry& E, const json& J, const TReadContext& Ctx,
                      const std::string& Where) {
  if (!E.Read) return;
  try {
    E.Read(J, Ctx.Apply);
  } catch (const EJsonPropertyError& e) {
    Fail(Where + e.Path(), e.Detail());
  } catch (const std::exception& e) {
    Fail(Where, e.what());
  }
}

void ReadProperties(TObject& Obj, const json& Props, const TJsonReadFiler& Filer, TReadContext& Ctx,
                    const std::string& Where) {
  if (!Props.is_object()) Fail(Where, "\"properties\" must be an object");
  const TClassInfo& info = Obj.ClassInfo();
  for (const auto& e : Filer.JsonEntries) {
    if (info.FindProperty(e.Name)) Fail(Where, "JSON property " + e.Name + " hides a published property");
  }
  for (auto it = Props.begin(); it != Props.end(); ++it) {
    if (Filer.FindJson(it.key())) continue;
    const TPropInfo* p = info.FindProperty(it.key());
    if (!p) Fail(Where, "unknown property " + it.key() + " of class " + info.Name);
    if (!IsSubObject(*p) && !p->Set) Fail(Where, "property " + it.key() + " is read-only");
  }
  // Table order, not file order: a property may depend on one declared before it.
  for (const TPropInfo* p : info.AllProperties()) {
    auto it = Props.find(p->Name);
    if (it == Props.end()) continue;
    const std::string where = Where + "." + p->Name;
    switch (p->Kind) {
      case TPropKind::Object:
      case TPropKind::Collection: {
        TPersistent* sub = std::get<TPersistent*>(p->Get(Obj));
        if (!sub) {
          // A setter applied before may still create it; only the applying pass can tell.
          if (Ctx.Apply) Fail(where, "the property has no object to load into");
          break;
        }
        if (p->Kind == TPropKind::Collection) {
          auto* coll = dynamic_cast<TCollection*>(sub);
          if (!coll) Fail(where, "the property is not a collection");
          ReadCollection(*coll, *it, Ctx, where);
        } else {
          ReadPersistent(*sub, *it, Ctx, where);
        }
        break;
      }
      case TPropKind::Component: ReadLink(Obj, *p, *it, Ctx, where); break;
      default: {
        const TPropValue v = JsonToValue(*p, *it, where);
        if (Ctx.Apply) SetChecked(Obj, *p, v, where);
      }
    }
  }
  // After the published ones, as binary properties come after them.
  for (const auto& e : Filer.JsonEntries) {
    if (auto it = Props.find(e.Name); it != Props.end()) ReadJsonProperty(e, *it, Ctx, Where + "." + e.Name);
  }
}

void ReadBinary(const json& Bin, const TJsonReadFiler& Filer, const TReadContext& Ctx, const std::string& Where) {
  if (!Bin.is_object()) Fail(Where, "\"binary\" must be an object");
  for (auto it = Bin.begin(); it != Bin.end(); ++it) {
    bool known = false;
    for (const auto& e : Filer.BinaryEntries) known = known || e.Name == it.key();
    if (!known) Fail(Where, "unknown binary property " + it.key());
    if (!it->is_string() || !Base64Decode(it->get_ref<const std::string&>())) {
      Fail(Where + "." + it.key(), "base64 text expected");
    }
  }
  if (!Ctx.Apply) return;
  for (const auto& e : Filer.BinaryEntries) {
    auto it = Bin.find(e.Name);
    if (it == Bin.end() || !e.Read) continue;
    const std::vector<std::uint8_t> bytes = *Base64Decode(it->get_ref<const std::string&>());
    TMemoryStream m;
    m.WriteBuffer(bytes.data(), static_cast<std::int64_t>(bytes.size()));
    m.SetPosition(0);
    try {
      e.Read(m);
    } catch (const std::exception& err) {
      Fail(Where + "." + e.Name, err.what());
    }
  }
}

/// Reads the "properties" and "binary" parts of J into Obj.
void ReadBody(TPersistent& Obj, const json& J, TReadContext& Ctx, const std::string& Where) {
  TJsonReadFiler filer;
  Obj.DefineProperties(filer);
  auto props = J.find("properties");
  auto bin = J.find("binary");
  if (props != J.end() && bin != J.end() && props->is_object() && bin->is_object()) {
    // A property rewritten from binary to JSON keeps its old reader; one of the two must go.
    for (const auto& e : filer.JsonEntries) {
      if (props->contains(e.Name) && bin->contains(e.Name)) {
        Fail(Where, "property " + e.Name + " is given both as JSON and as binary data");
      }
    }
  }
  if (props != J.end()) ReadProperties(Obj, *props, filer, Ctx, Where);
  if (bin != J.end()) ReadBinary(*bin, filer, Ctx, Where);
}

void ReadPersistent(TPersistent& Obj, const json& J, TReadContext& Ctx, const std::string& Where) {
  if (!J.is_object()) Fail(Where, "an object expected");
  CheckKeys(J, {"properties", "binary"}, Where);
  ReadBody(Obj, J, Ctx, Where);
}

/// Reads a component and its owned components. A new component is returned when Parent is
/// nullptr (the root); otherwise it is inserted into Parent and nullptr is returned.
std::unique_ptr<TComponent> ReadComponent(const json& J, TComponent* Parent, TReadContext& Ctx,
                                          const std::string& ParentWhere) {
  const std::string at = ParentWhere.empty() ? "the root" : ParentWhere;
  if (Ctx.Depth >= kMaxComponentDepth)
    Fail(at, "components nested deeper than " + std::to_string(kMaxComponentDepth) + " levels");
  if (!J.is_object()) Fail(at, "a component object expected");
  CheckKeys(J, {"class", "name", "properties", "binary", "components"}, at);
  auto cls = J.find("class");
  if (cls == J.end() || !cls->is_string()) Fail(at, "\"class\" (a string) expected");
  std::string name;
  if (auto n = J.find("name"); n != J.end()) {
    if (!n->is_string() || !IsValidComponentName(n->get_ref<const std::string&>())) {
      Fail(at, "\"name\" must be a valid component name");
    }
    name = n->get<std::string>();
  }
  const std::string className = cls->get<std::string>();
  const std::string label = name.empty() ? "<" + className + ">" : name;
  const std::string where = ParentWhere.empty() ? label : ParentWhere + "/" + label;

  std::unique_ptr<TComponent> holder;
  TComponent* c = Parent ? Parent->FindComponent(name) : nullptr;
  if (c) {
    // Made by the owner's constructor: load into it.
    if (c->ClassName() != className) Fail(where, "an existing component of class " + c->ClassName() + " has this name");
    for (const TComponent* t : Ctx.Touched) {
      if (t == c) Fail(where, "duplicate component name");
    }
  } else {
    try {
      holder = CreateComponentByName(className);
    } catch (const std::exception& e) {
      Fail(where, e.what());
    }
    c = holder.get();
    TComponentAccess::SetLoading(*c, true);
    c->SetName(name);  // valid, and not yet in an owner
    if (Parent) {
      try {
        Parent->InsertComponent(std::move(holder));
      } catch (const std::exception& e) {
        Fail(where, e.what());
      }
    }
  }
  TComponentAccess::SetLoading(*c, true);
  Ctx.Touched.push_back(c);
  if (!Parent) Ctx.Root = c;

  ReadBody(*c, J, Ctx, where);
  if (auto it = J.find("components"); it != J.end()) {
    if (!it->is_array()) Fail(where, "\"components\" must be an array");
    ++Ctx.Depth;
    for (const json& child : *it) ReadComponent(child, c, Ctx, where);
    --Ctx.Depth;
  }
  return holder;
}

/// Builds a detached tree with every link set; csLoading is still set on its components.
std::unique_ptr<TComponent> ReadTree(const std::string& Text, TComponent* Owner, TReadContext& Ctx) {
  const json j = Parse(Text);
  Ctx.OwnerBase = Owner;
  Ctx.DeferLinks = true;
  if (Owner && j.is_object()) {
    if (auto n = j.find("name"); n != j.end() && n->is_string() && Owner->FindComponent(n->get<std::string>())) {
      Fail(n->get<std::string>(), "the owner already has a component of this name");
    }
  }
  std::unique_ptr<TComponent> root = ReadComponent(j, nullptr, Ctx, "");
  for (const TFixup& f : Ctx.Fixups) {
    TComponent* target = f.Path ? Resolve(*f.Path, Ctx, f.Where) : nullptr;
    CheckLinkClass(*f.Prop, target, f.Where);
    SetChecked(*f.Obj, *f.Prop, TPropValue(std::in_place_type<TComponent*>, target), f.Where);
  }
  return root;
}

void FinishLoading(const std::vector<TComponent*>& Touched) {
  for (TComponent* c : Touched) TComponentAccess::SetLoading(*c, false);
  for (TComponent* c : Touched) TComponentAccess::Loaded(*c);
}

std::string ReadTextFile(const std::string& FileName) {
  TFileStream f(FileName, fmOpenRead | fmShareDenyWrite);
  std::string text(static_cast<std::size_t>(f.Size()), '\0');
  f.ReadBuffer(text.data(), static_cast<std::int64_t>(text.size()));
  return text;
}

void WriteTextFile(const std::string& FileName, const std::string& Text) {
  TFileStream f(FileName, fmCreate);
  f.WriteBuffer(Text.data(), static_cast<std::int64_t>(Text.size()));
}

}  // namespace

// --- public ----------------------------------------------------------------------------------

std::string SaveComponentToJson(const TComponent& Root) {
  TWriteContext ctx;
  ctx.Root = &Root;
  ctx.SkipDefaults = true;
  ctx.Links = true;
  return Dump(WriteComponent(Root, ctx, Label(Root), true));
}

void SaveComponentToFile(const TComponent& Root, const std::string& FileName) {
  WriteTextFile(FileName, SaveComponentToJson(Root));
}

std::unique_ptr<TComponent> LoadComponentFromJson(const std::string& Json) {
  TReadContext ctx;
  std::unique_ptr<TComponent> root = ReadTree(Json, nullptr, ctx);
  FinishLoading(ctx.Touched);
  return root;
}

TComponent* LoadComponentFromJson(const std::string& Json, TComponent& Owner) {
  TReadContext ctx;
  std::unique_ptr<TComponent> root = ReadTree(Json, &Owner, ctx);
  TComponent* raw = root.get();
  Owner.InsertComponent(std::move(root));
  try {
    FinishLoading(ctx.Touched);
  } catch (...) {
    Owner.RemoveComponent(raw);  // the returned owner destroys the tree
    throw;
  }
  return raw;
}

std::unique_ptr<TComponent> LoadComponentFromFile(const std::string& FileName) {
  return LoadComponentFromJson(ReadTextFile(FileName));
}

TComponent* LoadComponentFromFile(const std::string& FileName, TComponent& Owner) {
  return LoadComponentFromJson(ReadTextFile(FileName), Owner);
}

std::string SaveSettingsToJson(const TComponent& Obj, const TSettingsOptions& Options) {
  TWriteContext ctx;
  ctx.Root = &Obj;
  ctx.SkipDefaults = Options.SkipDefaults;
  ctx.Links = Options.Links;
  return Dump(WriteComponent(Obj, ctx, Label(Obj), false));
}

void LoadSettingsFromJson(TComponent& Obj, const std::string& Json, bool Links) {
  const json j = Parse(Json);
  const std::string where = Label(Obj);
  if (!j.is_object()) Fail(where, "a settings object expected");
  CheckKeys(j, {"class", "properties", "binary"}, where);
  auto cls = j.find("class");
  if (cls == j.end() || !cls->is_string()) Fail(where, "\"class\" (a string) expected");
  bool fits = false;
  for (const TClassInfo* c = &Obj.ClassInfo(); c; c = c->Parent) fits = fits || c->Name == cls->get<std::string>();
  if (!fits) Fail(where, "settings of class " + cls->get<std::string>() + " cannot be loaded into a " + Obj.ClassName());

  json body = j;
  body.erase("class");

  TReadContext ctx;
  ctx.Root = &Obj;
  ctx.OwnerBase = Obj.Owner();
  ctx.Links = Links;
  ctx.Apply = false;  // first pass: find every fault before anything changes
  ReadPersistent(Obj, body, ctx, where);
  ctx.Apply = true;
  const bool wasLoading = Obj.ComponentState().Contains(csLoading);
  TComponentAccess::SetLoading(Obj, true);
  try {
    ReadPersistent(Obj, body, ctx, where);
  } catch (...) {
    if (!wasLoading) TComponentAccess::SetLoading(Obj, false);
    throw;
  }
  if (!wasLoading) {
    TComponentAccess::SetLoading(Obj, false);
    TComponentAccess::Loaded(Obj);
  }
}

// --- helpers for JSON properties -------------------------------------------------------------

TFiler::TJson DoubleToSettingsJson(double Value) { return DoubleToJson(Value); }

double SettingsJsonToDouble(const TFiler::TJson& Value, const std::string& Path) {
  if (Value.is_number()) return Value.get<double>();
  if (Value.is_string()) {
    const std::string& s = Value.get_ref<const std::string&>();
    if (s == "NaN") return std::numeric_limits<double>::quiet_NaN();
    if (s == "Infinity") return std::numeric_limits<double>::infinity();
    if (s == "-Infinity") return -std::numeric_limits<double>::infinity();
  }
  throw EJsonPropertyError(Path, "a number expected");
}

TJsonRecordReader::TJsonRecordReader(const TFiler::TJson& Record, std::size_t Index) : record_(Record) {
  path_ = '[';
  path_ += std::to_string(Index);
  path_ += ']';
  if (!record_.is_object()) Fail("", "an object expected");
}

const TFiler::TJson* TJsonRecordReader::Find(const std::string& Name) {
  auto it = record_.find(Name);
  if (it == record_.end()) return nullptr;
  used_.push_back(Name);
  return &*it;
}

bool TJsonRecordReader::Bool(const std::string& Name, bool Default) {
  const TFiler::TJson* v = Find(Name);
  if (!v) return Default;
  if (!v->is_boolean()) Fail("." + Name, "true or false expected");
  return v->get<bool>();
}

double TJsonRecordReader::Double(const std::string& Name) {
  const TFiler::TJson* v = Find(Name);
  if (!v) Fail("", "\"" + Name + "\" expected");
  return SettingsJsonToDouble(*v, path_ + "." + Name);
}

double TJsonRecordReader::Double(const std::string& Name, double Default) {
  const TFiler::TJson* v = Find(Name);
  return v ? SettingsJsonToDouble(*v, path_ + "." + Name) : Default;
}

std::int64_t TJsonRecordReader::Integer(const std::string& Name, std::int64_t Min, std::int64_t Max,
                                        std::int64_t Default) {
  const TFiler::TJson* v = Find(Name);
  if (!v) return Default;
  bool fits = v->is_number_integer() &&
              !(v->is_number_unsigned() && v->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX));
  fits = fits && v->get<std::int64_t>() >= Min && v->get<std::int64_t>() <= Max;
  if (!fits) Fail("." + Name, "an integer from " + std::to_string(Min) + " to " + std::to_string(Max) + " expected");
  return v->get<std::int64_t>();
}

void TJsonRecordReader::Finish() const {
  for (auto it = record_.begin(); it != record_.end(); ++it) {
    if (std::find(used_.begin(), used_.end(), it.key()) == used_.end()) Fail("", "unknown entry \"" + it.key() + "\"");
  }
}

void TJsonRecordReader::Fail(const std::string& Sub, const std::string& What) const {
  throw EJsonPropertyError(path_ + Sub, What);
}

}  // namespace ondrix
