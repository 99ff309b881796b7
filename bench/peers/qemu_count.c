/** A plug-in for QEMU's user-mode emulators that counts the instructions of a program on another processor
 *
 *    qemu-aarch64 -plugin libqemu_count.so -L /usr/aarch64-linux-gnu PROGRAM ...
 *
 *  Prints their number to standard error when the program ends. What a block of instructions leaves undone when it is
 *  interrupted is counted all the same; that is next to nothing.
 *
 *  Debian's QEMU comes without the header of its plug-ins, so that what is used of it is declared here. The interface is
 *  told in QEMU's documentation, "QEMU TCG Plugins"; this is its version 1.
 */
#include <inttypes.h>
#include <stddef.h>
#include <stdio.h>

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*translated)(qemu_plugin_id_t, struct qemu_plugin_tb *));
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*leaving)(qemu_plugin_id_t, void *), void *userdata);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *block);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *block, enum qemu_plugin_op op, void *counter,
                                              uint64_t number);

/* What QEMU looks for */
int qemu_plugin_version = 1;
int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int argc, char **argv);

static uint64_t instructions;

static void count_block(qemu_plugin_id_t id, struct qemu_plugin_tb *block)
{
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &instructions,
                                             qemu_plugin_tb_n_insns(block));
}

static void tell(qemu_plugin_id_t id, void *userdata)
{
    (void)id;
    (void)userdata;
    fprintf(stderr, "instructions %" PRIu64 "\n", instructions);
}

int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int argc, char **argv)
{
    (void)info;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
    qemu_plugin_register_atexit_cb(id, tell, NULL);
    return 0;
}
