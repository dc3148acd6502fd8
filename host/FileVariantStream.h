#pragma once
// A variant stream in a file of its own (docs/formats.md). Values written
// go to a temporary file beside the target, which commit() checks and renames
// into place, so an interrupted save never damages the file already there.
// Reading takes the whole file at open, checks its checksum and then each
// value's type and size as it is read.

#include "platform/api.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/IVariantStream.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

class FileVariantStream final : public IVariantStream {
public:
    // Null, with the reason in `why`, when the file cannot be made or read,
    // or is not a variant stream written whole.
    static std::unique_ptr<FileVariantStream> create(std::string const& path, std::string* why = nullptr);
    static std::unique_ptr<FileVariantStream> open(std::string const& path, std::string* why = nullptr);
    // A stream of bytes already in memory, as open() reads them.
    static std::unique_ptr<FileVariantStream> from_bytes(std::vector<unsigned char> bytes,
                                                         std::string* why = nullptr);
    ~FileVariantStream() override;

    bool write(Variant const& value) override;
    bool read(Variant& value) override;
    // Ends a stream made by create(): writes the checksum and renames the
    // file into place. Without it the temporary file is removed.
    bool commit(std::string* why = nullptr);

private:
    FileVariantStream() = default;

    std::string path_, temp_;
    std::vector<unsigned char> bytes_; // written so far, or the whole file read
    std::size_t at_ = 0;              // next value to read
    std::size_t end_ = 0;             // end of the values read
    bool writing_ = false;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
