#pragma once
// FileIO: reader and writer of tagged record files (records of a 16-bit identifier, a length and
// the data; optionally a "KV" header record and a comment record first), plus two small text
// file helpers.
//
// TFileIO keeps the first error it meets and then ignores every read and write until the next
// Open, Make, OpenHeader or MakeHeader, so that a caller can write a whole sequence of records
// and test once at the end. Reads and writes that fall short never throw. Only opening a file
// throws: EInOutError when the file cannot be opened or created.
//
// A file made by Make or MakeHeader replaces one of the same name only when Close (or the
// destructor) finds no error: until then, and after an error, the old file stays as it was.

#include "framework/Classes.h"
#include "wn_export.h"

#include <QFile>
#include <QSaveFile>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace wn {

// Reserved record identifiers.
constexpr std::uint16_t cFileIOHeaderID = 33;
constexpr std::uint16_t cFileIOCommentID = 34;
constexpr std::uint16_t cFileIOBeginID = 40;
constexpr std::uint16_t cFileIOEndID = 41;
constexpr std::uint16_t cFileIOLongID = 42;

// Error codes kept in ErrorCode().
constexpr std::int32_t cFileIOWriteShort = -1;
constexpr std::int32_t cFileIOReadShort = -2;

class WN_EXPORT TFileIO : public TObject
{
public:
    TFileIO();
    ~TFileIO() override;
    TFileIO(const TFileIO &) = delete;
    TFileIO &operator=(const TFileIO &) = delete;

    // Each of the four opening calls closes a file still open, clears the error state and
    // throws EInOutError when the file cannot be opened.
    // Opens an existing file for reading only.
    bool Open(const QString &FileName);
    // Starts a new file for writing; Close puts it in place.
    bool Make(const QString &FileName);
    // Opens for reading and reads the header and comment records. A file that does not start
    // with a header record gives an empty comment and version -1 and is read from its start.
    // True when no error is set.
    bool OpenHeader(const QString &FileName, QString &Comment, std::int32_t &Version);
    // Creates the file and writes the header record (kind "KV", the name's extension, Version)
    // and the comment record. True when no error is set.
    bool MakeHeader(const QString &FileName, const QString &Comment, std::int32_t Version);
    // Closes the file. A new file without an error takes its place under its name; one that
    // cannot be put there records a short write (-1).
    void Close();

    // Reads the next record head into ID() and Len(); a long record is resolved to the
    // identifier and length inside it. With HeadPending() == 1 the head read last is reused.
    void read_datainfo();
    // Reads min(MaxLen, Len()) bytes of the current record into Buffer, which must hold MaxLen
    // bytes, and skips the rest of the record. HeadPending() becomes -1 when MaxLen exceeded the
    // record, else 0. A negative MaxLen reads nothing and records a short read (-2).
    void read_data(std::int32_t MaxLen, void *Buffer);
    // read_datainfo, then read_data when the identifier is ID; another identifier sets the error
    // flag (ErrorCode() keeps its value) and reads nothing.
    void read_IDdata(std::uint16_t ID, std::int32_t MaxLen, void *Buffer);
    // Text := Len characters from the current record (Windows-1252), NUL-padded past a record
    // shorter than that. Len 0 gives an empty text and leaves the record unread.
    void read_text(std::int32_t Len, QString &Text);
    // Text := the whole next record when its identifier is ID, else empty and the error flag set.
    void read_IDtext(std::uint16_t ID, QString &Text);
    // Skips the current record's data.
    void read_not();
    // Reads all Len() bytes of the current record; Buffer must hold Len() bytes.
    void read_longdata(void *Buffer);

    // A record with a 16-bit length: only the low 16 bits of Len are stored and that many bytes
    // of Data written.
    void write_data(std::uint16_t ID, std::uint32_t Len, const void *Data);
    // A long record (identifier 42 around ID and a 32-bit length), for data of 64 KiB or more.
    void write_longdata(std::uint16_t ID, std::uint32_t Len, const void *Data);
    // A record holding the text's Windows-1252 bytes; an empty text is write_ID(ID). The length
    // field keeps only the low 16 bits while every byte is written, so texts of 64 KiB or more
    // make the file unreadable past this record: they belong in write_longdata.
    void write_text(std::uint16_t ID, const QString &Text);
    // A record of length 0.
    void write_ID(std::uint16_t ID);
    // Records 40 and 41 that bracket a group.
    void write_begin();
    void write_end();
    // Records an error. The first error stays: while the flag is set this does nothing.
    void set_error(std::int32_t Code);

    const QString &FileName() const { return FFileName; }
    bool IsOpen() const { return FFile.isOpen() || FNewFile.isOpen(); }
    // Identifier and data length of the current record.
    std::uint16_t ID() const { return FID; }
    std::uint32_t Len() const { return FLen; }
    bool Error() const { return FError; }
    std::int32_t ErrorCode() const { return FErrorCode; }
    // 1: the next read_datainfo keeps the current head (a reader that looked at a head which was
    // not its own pushes it back this way); -1: the last read_data asked for more than the
    // record held; 0 otherwise.
    std::int8_t HeadPending() const { return FHeadPending; }
    void SetHeadPending(std::int8_t Value) { FHeadPending = Value; }

private:
    // Closes a file still open and clears the state for the next one.
    void StartFile(const QString &FileName);
    // read_datainfo; true when it read the head of a record ID. Another identifier sets the
    // error flag and leaves the error code as it was.
    bool ReadHeadOf(std::uint16_t ID);
    // The body of read_data; at most Capacity bytes land in Buffer, and a record part that needs
    // more counts as a short read. Returns the number of bytes stored.
    std::int64_t ReadRecordData(std::int32_t MaxLen, char *Buffer, std::int64_t Capacity);
    // Reads up to count bytes; false (and error -2) when fewer came.
    bool ReadExactly(char *buffer, std::int64_t count);
    // Writes count bytes; false (and error -1) when fewer went out.
    bool WriteExactly(const char *buffer, std::int64_t count);
    bool WriteHead(std::uint16_t ID, std::uint16_t Len);
    // Reads and drops count bytes in pieces, stopping at the first short piece.
    void SkipBytes(std::int64_t count);

    QString FFileName;
    QFile FFile;        // read by Open and OpenHeader
    QSaveFile FNewFile; // written by Make and MakeHeader
    std::uint16_t FID = 0;
    std::uint32_t FLen = 0;
    bool FError = false;
    std::int32_t FErrorCode = 0;
    std::int8_t FHeadPending = 0;
};

// Appends the lines of a text file (UTF-8, or Windows-1252 when not valid UTF-8; LF or CR LF)
// to Strings. With MaxLines not 0 it stops as soon as Strings holds MaxLines lines or more, so
// a negative MaxLines adds nothing. Throws EInOutError when the file cannot be read.
WN_EXPORT void TextFileToStrings(const QString &FileName, std::int32_t MaxLines, QStringList &Strings);

// Size := the size in bytes of the first file matching FileName (wildcards * and ? allowed in
// the name part; directories count with size 0), 0 when nothing matches. Returns Size > 0.
// Never throws.
WN_EXPORT bool GetTextFilesize(const QString &FileName, std::int64_t &Size);

} // namespace wn
