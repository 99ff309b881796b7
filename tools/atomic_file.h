/** Output that is there whole or not at all
 *
 *  A file is written under a temporary name beside its place and renamed when it is complete. If the run fails, or is
 *  ended by a signal, the temporary file is removed and what stood in its place before is untouched.
 *  Standard output, devices and named pipes cannot be replaced: they are written as the data comes.
 */
#ifndef TALV_TOOLS_ATOMIC_FILE_H
#define TALV_TOOLS_ATOMIC_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace talv
{

class AtomicFile
{
public:
    /** Open for writing
     *  path     a file's name, or "-" for standard output (taken over: see standard_streams.h)
     *  throws   Failure
     */
    explicit AtomicFile(const std::string &path);
    ~AtomicFile();
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    /** The name for messages */
    const std::string &name() const { return name_; }

    /** For whoever writes by descriptor instead of by write(); not to be closed */
    int fd() const { return fd_; }

    /** A new file, which can be read back and rewritten; false for pipes, devices and standard output */
    bool is_file() const { return !temporary_.empty(); }

    /** Append bytes. On a pipe they are handed on at once, since a reader may be waiting for them. */
    void write(const void *data, size_t nbytes);

    /** Write over the first bytes of a file, a header whose lengths are known only now */
    void rewrite_start(const void *data, size_t nbytes);

    /** Bytes of a file that have reached it; what is still waiting to be written does not count */
    int64_t landed() const;

    /** Bytes of a file that have reached it, from an offset on */
    std::string read_back(int64_t offset, int64_t nbytes) const;

    /** Keep the first nbytes of a file and forget the rest, also what is still waiting */
    void cut(int64_t nbytes);

    /** The output is complete: give it its name. Without this call it is removed. */
    void commit();

private:
    void flush();
    void open_temporary();

    std::string name_;
    std::string target_;
    std::string temporary_;
    std::vector<uint8_t> buffer_;
    int fd_ = -1;
    size_t slot_ = 0; /* of the temporary name in the table of those to be removed */
    bool at_once_ = false;
};

/** Refuse to write over an input
 *  throws   Failure when both names lead to the same file; "-" and names that do not exist yet are never the same
 */
void refuse_same_file(const std::string &in, const std::string &out);

} // namespace talv

#endif
