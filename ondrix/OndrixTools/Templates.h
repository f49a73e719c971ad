// Settings templates: named snapshots of an object's settings, kept as byte streams.
#pragma once

#include <string>

#include "ondrix/framework/TList.h"
#include "ondrix/framework/TStream.h"
#include "ondrix/framework/TStringList.h"

namespace ondrix {

/// A string list whose every entry owns a memory stream (the snapshot named by the string).
///
/// Stream format (32-bit little-endian signed integers): the byte length L of the names
/// text, the names text (each name followed by CR LF), then for each entry its stream's size
/// and its bytes.
class TStringStreamList : public TStringList {
public:
  ONDRIX_CLASS_INFO()

  TStringStreamList() = default;
  ~TStringStreamList() override;

  /// Adds Name with a new empty stream; text loading calls it once per line.
  int Add(const std::string& Name) override;
  /// The stream of entry i.
  TMemoryStream* Streams(int i) const;

  /// From another TStringStreamList: a deep copy of names and streams; otherwise names only.
  void Assign(const TPersistent& Source) override;

  void SaveToStream(TStream& Stream) const;
  /// Replaces names and streams. A length that announces more bytes than the stream holds
  /// raises EReadError "TStringStreamList: names length out of range" (or "entry size")
  /// and leaves the list as it was.
  void LoadFromStream(TStream& Stream);
  void SaveBinaryStream(TStream& Stream) const { SaveToStream(Stream); }
  void LoadBinaryStream(TStream& Stream) { LoadFromStream(Stream); }
  /// Reads a whole list from Stream and appends it.
  void AppendFromStream(TStream& Stream);
  /// Appends List's names with copies of their streams.
  void AppendFromList(const TStringStreamList& List);

  /// Stores the list in settings files as the binary property "Data" (the stream format).
  void DefineProperties(TFiler& Filer) override;
};

/// An object whose settings are snapshotted by TStreamTemplates: a descendant writes them in
/// SaveToStream and reads them in LoadFromStream.
class TStreamedList : public TList {
public:
  ONDRIX_CLASS_INFO()

  /// Deletes every entry from the last down to the first (through Delete), then empties.
  void Clear() override;
  virtual void SaveToStream(TStream& Stream) const { (void)Stream; }
  virtual void LoadFromStream(TStream& Stream) { (void)Stream; }
  void Delete(int i) override { TList::Delete(i); }
  /// Empties the list without calling Delete.
  virtual void ClearPointers() { TList::Clear(); }
  virtual void Update() {}
};

/// Ties one TStreamedList (Template) to a list of named snapshots and switches between them:
/// leaving a template stores the current settings into it, selecting one loads them.
///
/// Stream format: the owner's class name as a short string, TemplateIndex as a 32-bit
/// little-endian integer, then the snapshots in the TStringStreamList format.
class TStreamTemplates : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  /// AOwner's class name marks the stream format (may be nullptr: empty name).
  explicit TStreamTemplates(TObject* AOwner = nullptr);

  TStreamedList* Template() const noexcept { return template_; }
  /// Stores the reference only.
  void SetTemplate(TStreamedList* Value) noexcept { template_ = Value; }
  int TemplateIndex() const noexcept { return templateIndex_; }
  /// Saves the current settings into the template being left, loads the new one; an index
  /// outside the list selects none (−1).
  void SetTemplateIndex(int New);
  TStringStreamList& Templates() noexcept { return templates_; }
  const TStringStreamList& Templates() const noexcept { return templates_; }
  TStringStreamList* TemplatesPtr() const noexcept { return const_cast<TStringStreamList*>(&templates_); }
  /// Name of the selected template, or "".
  std::string TemplateName() const;
  /// Selects the template of that name; an unknown name is ignored.
  void SetTemplateName(const std::string& Name);

  /// Adds a template holding the current settings and selects it.
  int AddTemplate(const std::string& Name);
  /// Adds a template holding the current settings; the selected one keeps its stored state.
  int AddCopyTemplate(const std::string& Name);
  /// Writes the current settings back into the selected template and reloads them.
  void Consolidate();
  /// Removes template i; the selection moves to none when it was i, and follows the entry
  /// when it was after i.
  void Delete(int i);
  /// Removes every template; nothing stays selected.
  void Clear();
  /// Calls Template's Update.
  void Update();
  /// Deep copy of the templates and the selection index (Template is left as it is).
  void Assign(const TPersistent& Source) override;

  void SaveToStream(TStream& Stream);
  /// Raises "Data format type missmatch: <read> <> <owner class>" for another owner's data.
  void LoadFromStream(TStream& Stream);
  void SaveToFile(const std::string& FileName);
  /// Does nothing when the file does not exist.
  void LoadFromFile(const std::string& FileName);

private:
  std::string OwnerClassName() const;

  TObject* owner_;
  TStreamedList* template_ = nullptr;
  int templateIndex_ = -1;
  TStringStreamList templates_;
};

}  // namespace ondrix
