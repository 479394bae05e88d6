#ifndef QVCORE_FILES_PRIVATEPROFILE_H
#define QVCORE_FILES_PRIVATEPROFILE_H

#include "qvcore/Platform.h"
#include "qvcore/core/Rect.h"
#include "qvcore/core/String.h"
#include "qvcore/runtime/QvUnknown.h"

#include <map>
#include <string>
#include <vector>

/// Settings in an initialisation file: named sections of key=value entries, held whole in
/// memory and read or written as a whole through the system's private-profile functions.
///
/// Look-ups are case-sensitive (sections "A" and "a" are two sections in memory) and
/// enumeration follows plain comparison of the wide texts. The system's file functions match
/// names without regard to case, so on Save such sections land in one section of the file:
/// the one written last (in that order) replaces the entries of the other.
///
/// Typed values are stored as text a person can edit: integers as signed decimal (a 32- or
/// 64-bit value with its top bit set is written negative and reads back to the same bits),
/// booleans as "1"/"0", doubles as "%lf", a Point or Size as two keys (name + "X", name + "Y"),
/// a Rect as four (name + "Left", "Top", "Right", "Bottom").
///
/// Getters return true when the key exists and leave their output untouched otherwise; they
/// never throw. Setters create the section and key as needed. A profile belongs to one thread
/// at a time.
class IPrivateProfile : public virtual IUnknown {
public:
    /// What Load throws when the file does not begin with the profile's signature or cannot be
    /// read that far: code 1.
    struct PPException {
        int code;
        String message;
    };

    /// Stores fileName, checks that the file begins with the signature and reads every section
    /// (ReadSections). Throws File::Exception when the file cannot be opened or read and
    /// PPException on a signature mismatch; the sections are unchanged then.
    virtual void Load(const String &fileName) = 0;
    /// Stores fileName, creates the file anew holding the signature, then writes every section
    /// (WriteSections). Throws File::Exception when the file cannot be created or a section
    /// cannot be written (the file then holds the signature and the sections before it), and
    /// before touching the file when it is one whose sections could not be read
    /// (IsSectionListCut()).
    virtual void Save(const String &fileName) = 0;
    virtual String GetFileName() = 0;
    virtual void SetFileName(const String &fileName) = 0;
    /// The bytes every file of this profile begins with (none by default).
    virtual void SetSignature(const std::string &signature) = 0;
    /// Removes one key; the section stays, even when it becomes empty.
    virtual void DeleteKey(const String &section, const String &key) = 0;
    virtual void DeleteSection(const String &section) = 0;
    virtual void Clear() = 0;
    /// Adds the sections of the stored file to those in memory (entries of the same key are
    /// replaced). The system hands out at most 32,767 bytes of section names, and as much of
    /// each section: when the names do not fit, no section is read at all; a section that does
    /// not fit is read as far as whole entries go.
    virtual void ReadSections() = 0;
    /// Writes every section into the stored file as key=value entries, in map order. Throws
    /// File::Exception when the system cannot write a section (the ones before it are written)
    /// or the file is one whose sections could not be read (IsSectionListCut()).
    virtual void WriteSections() = 0;
    virtual bool GetSectionNames(std::vector<String> &names) = 0;
    /// False when the section does not exist.
    virtual bool GetKeyNames(const String &section, std::vector<String> &keys) = 0;

    // Integers read as the C runtime's _wtoi64 (64-bit) and _wtoi (the others) do: leading
    // blanks and a sign, then digits up to the first other character; no digits give 0. The
    // 16-bit getters keep the low 16 bits.
    virtual bool GetValue(const String &section, const String &key, long long &value) = 0;
    virtual bool GetValue(const String &section, const String &key, unsigned long long &value) = 0;
    virtual bool GetValue(const String &section, const String &key, int &value) = 0;
    virtual bool GetValue(const String &section, const String &key, unsigned int &value) = 0;
    virtual bool GetValue(const String &section, const String &key, unsigned short &value) = 0;
    virtual bool GetValue(const String &section, const String &key, short &value) = 0;
    /// True when the text's integer value is not 0 ("2" is true, a word is false).
    virtual bool GetValue(const String &section, const String &key, bool &value) = 0;
    /// The longest leading number (as wcstod reads it, with "." as the decimal point); 0 when
    /// there is none.
    virtual bool GetValue(const String &section, const String &key, double &value) = 0;
    /// True only when both keys exist.
    virtual bool GetValue(const String &section, const String &key, Point &value) = 0;
    virtual bool GetValue(const String &section, const String &key, Size &value) = 0;
    /// True only when all four keys exist.
    virtual bool GetValue(const String &section, const String &key, Rect &value) = 0;
    virtual bool GetValue(const String &section, const String &key, String &value) = 0;

    virtual void SetValue(const String &section, const String &key, long long value) = 0;
    virtual void SetValue(const String &section, const String &key, unsigned long long value) = 0;
    virtual void SetValue(const String &section, const String &key, int value) = 0;
    virtual void SetValue(const String &section, const String &key, unsigned int value) = 0;
    virtual void SetValue(const String &section, const String &key, unsigned short value) = 0;
    virtual void SetValue(const String &section, const String &key, short value) = 0;
    virtual void SetValue(const String &section, const String &key, bool value) = 0;
    virtual void SetValue(const String &section, const String &key, double value) = 0;
    virtual void SetValue(const String &section, const String &key, const Point &value) = 0;
    virtual void SetValue(const String &section, const String &key, const Size &value) = 0;
    virtual void SetValue(const String &section, const String &key, const Rect &value) = 0;
    virtual void SetValue(const String &section, const String &key, const String &value) = 0;

    /// True when the last ReadSections (or Load) met a file whose section names do not fit the
    /// 32,767 bytes the system hands out, and so read no section of it. While this holds, Save
    /// and WriteSections refuse to overwrite that file (File::Exception with ERROR_MORE_DATA):
    /// every section they could not read would be lost. Check it after Load, before changing
    /// and saving settings.
    virtual bool IsSectionListCut() const = 0;

protected:
    ~IPrivateProfile() {}
};

/// A new, empty profile with one reference, which the caller gives back with Release().
QVCORE_API IPrivateProfile *CreatePrivateProfile();

/// The one implementation of IPrivateProfile. Reference counted: create it with new (or
/// CreatePrivateProfile) and let Release delete it.
class QVCORE_API PrivateProfile : public virtual IPrivateProfile, public virtual QvUnknown {
public:
    PrivateProfile();
    ~PrivateProfile() override;

    void Load(const String &fileName) override;
    void Save(const String &fileName) override;
    String GetFileName() override;
    void SetFileName(const String &fileName) override;
    void SetSignature(const std::string &signature) override;
    void DeleteKey(const String &section, const String &key) override;
    void DeleteSection(const String &section) override;
    void Clear() override;
    void ReadSections() override;
    void WriteSections() override;
    bool GetSectionNames(std::vector<String> &names) override;
    bool GetKeyNames(const String &section, std::vector<String> &keys) override;

    bool GetValue(const String &section, const String &key, long long &value) override;
    bool GetValue(const String &section, const String &key, unsigned long long &value) override;
    bool GetValue(const String &section, const String &key, int &value) override;
    bool GetValue(const String &section, const String &key, unsigned int &value) override;
    bool GetValue(const String &section, const String &key, unsigned short &value) override;
    bool GetValue(const String &section, const String &key, short &value) override;
    bool GetValue(const String &section, const String &key, bool &value) override;
    bool GetValue(const String &section, const String &key, double &value) override;
    bool GetValue(const String &section, const String &key, Point &value) override;
    bool GetValue(const String &section, const String &key, Size &value) override;
    bool GetValue(const String &section, const String &key, Rect &value) override;
    bool GetValue(const String &section, const String &key, String &value) override;

    void SetValue(const String &section, const String &key, long long value) override;
    void SetValue(const String &section, const String &key, unsigned long long value) override;
    void SetValue(const String &section, const String &key, int value) override;
    void SetValue(const String &section, const String &key, unsigned int value) override;
    void SetValue(const String &section, const String &key, unsigned short value) override;
    void SetValue(const String &section, const String &key, short value) override;
    void SetValue(const String &section, const String &key, bool value) override;
    void SetValue(const String &section, const String &key, double value) override;
    void SetValue(const String &section, const String &key, const Point &value) override;
    void SetValue(const String &section, const String &key, const Size &value) override;
    void SetValue(const String &section, const String &key, const Rect &value) override;
    void SetValue(const String &section, const String &key, const String &value) override;

    bool IsSectionListCut() const override;

private:
    /// Throws File::Exception (ERROR_MORE_DATA) when fileName is the file whose section names
    /// did not fit.
    void refuseToOverwriteCutFile(const String &fileName) const;

    /// Plain comparison of the units: case-sensitive, independent of the locale.
    typedef std::map<String, String> Keys;
    typedef std::map<String, Keys> Sections;

    String fileName_;
    std::string signature_;
    Sections sections_;
    /// The full path of the file whose section names did not fit when last read; empty when
    /// the last read was whole.
    String cutFile_;
};

#endif
