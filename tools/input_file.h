/** Input by descriptor: files, pipes and standard input alike */
#ifndef TALV_TOOLS_INPUT_FILE_H
#define TALV_TOOLS_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace talv
{

class InputFile
{
public:
    /** Open for reading
     *  path     a file's name, or "-" for standard input
     *  throws   Failure
     */
    explicit InputFile(const std::string &path);

    /** Read what is in memory already, as if it were a file
     *  name     for messages
     *  bytes    [n], to be kept as long as this is read
     */
    InputFile(const std::string &name, const uint8_t *bytes, size_t n);
    ~InputFile();
    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;

    /** The name for messages */
    const std::string &name() const { return name_; }
    int fd() const { return fd_; }

    /** Bytes from here to the end of a file; -1 on a pipe, where nobody knows */
    int64_t bytes_left() const;

    /** Read n bytes, waiting for them on a pipe
     *  return   bytes read: fewer than n at the end of the input alone
     *  throws   Failure, Interrupted
     */
    size_t read(void *data, size_t n);

    /** Read what is there, at least one byte and n at most; 0 at the end */
    size_t read_some(void *data, size_t n);

    /** Back to the start of a file or of the memory */
    void rewind();

    /** Copy the rest of a pipe into a nameless temporary file, after the bytes of head that were read from it already,
     *  and read that from its start: for formats that have to be read back and forth
     */
    void spool(const std::string &head);

private:
    std::string name_;
    int fd_ = -1;                     /* -1: in memory               */
    const uint8_t *memory_ = nullptr; /* [size_], read as far as at_ */
    size_t size_ = 0, at_ = 0;
};

/** Another descriptor of the same file, for libsndfile to close: one that it can make nothing of it closes whatever it
 *  was told, and closed once more it might be another thread's by then
 *  return   -1 when there are no more descriptors
 */
int own_descriptor(int fd);

} // namespace talv

#endif
