// TStringList: a list of strings, each with an associated object, and its text form.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ondrix/framework/TPersistent.h"

namespace ondrix {

class TStream;

/// A list of strings, each with an associated TObject*. The object is not owned unless
/// attached with SetOwnedObject (then Delete, Clear, replacement and destruction free it).
///
/// Text form: every string followed by CR LF. Reading text splits at CR LF, LF or CR and
/// calls the virtual Add once per line, so a descendant that attaches an owned object in
/// Add gets one per line read.
class TStringList : public TPersistent {
public:
  ONDRIX_CLASS_INFO()

  TStringList() = default;
  ~TStringList() override;
  TStringList(const TStringList&) = delete;
  TStringList& operator=(const TStringList&) = delete;

  int Count() const noexcept { return static_cast<int>(items_.size()); }
  /// String i; EListError "List index out of bounds (i)" when out of range.
  const std::string& Strings(int i) const;
  void SetStrings(int i, const std::string& S);
  /// Object of entry i (nullptr if none).
  TObject* Objects(int i) const;
  /// Attaches an object that the list does not own (an owned one is freed first).
  void SetObjects(int i, TObject* AObject);
  /// Attaches an object that the list owns (the previous owned one is freed).
  void SetOwnedObject(int i, std::unique_ptr<TObject> AObject);

  /// Appends S; returns its index. Text loading calls it once per line.
  virtual int Add(const std::string& S);
  /// Add(S), then SetObjects with AObject (not owned).
  virtual int AddObject(const std::string& S, TObject* AObject);
  /// Inserts S before position i (0..Count).
  virtual void Insert(int i, const std::string& S);
  /// Removes entry i (freeing an owned object).
  virtual void Delete(int i);
  /// Removes every entry, last first, through Delete.
  virtual void Clear();
  /// Index of the first string equal to S (ASCII case-insensitive unless CaseSensitive), or -1.
  int IndexOf(std::string_view S) const noexcept;
  /// Index of the first entry whose object is AObject, or -1.
  int IndexOfObject(const TObject* AObject) const noexcept;

  bool CaseSensitive() const noexcept { return caseSensitive_; }
  void SetCaseSensitive(bool Value) noexcept { caseSensitive_ = Value; }

  /// Every string followed by CR LF.
  std::string Text() const;
  /// Replaces the list by the lines of Value (Clear, then Add per line, updates suspended).
  virtual void SetText(const std::string& Value);

  /// Writes Text() at the stream's position.
  void SaveToStream(TStream& Stream) const;
  /// Reads the rest of the stream (from its position) and SetText with it.
  void LoadFromStream(TStream& Stream);
  void SaveToFile(const std::string& FileName) const;
  void LoadFromFile(const std::string& FileName);

  /// Suspends change notification; the outermost EndUpdate reports one change.
  void BeginUpdate() noexcept { ++updateCount_; }
  void EndUpdate();
  /// Fired after every change (not while updates are suspended).
  TNotifyEvent OnChange;

  /// From another TStringList: Clear, then AddObject of every string with its object
  /// (objects are shared, never owned by the copy). Other sources: the base Assign.
  void Assign(const TPersistent& Source) override;
  /// Binary property "Strings": the text form, so a string list stores as a sub-object.
  void DefineProperties(TFiler& Filer) override;

protected:
  /// Reports a change unless updates are suspended.
  void Changed();
  void CheckIndex(int i) const;

private:
  struct TEntry {
    std::string S;
    TObject* Object = nullptr;
    std::unique_ptr<TObject> Owned;  // set when Object is owned
  };
  std::vector<TEntry> items_;
  bool caseSensitive_ = false;
  int updateCount_ = 0;
};

}  // namespace ondrix
