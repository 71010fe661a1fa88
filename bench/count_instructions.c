/* A plugin of the user-mode emulator that counts the instructions a program executes, and prints the
 * total as it ends. The emulator's package does not bring the header, so the few declarations that
 * are needed stand here.
 *
 *   gcc -O2 -shared -fPIC count_instructions.c -o count_instructions.so
 *   qemu-arm -plugin ./count_instructions.so -d plugin PROGRAM
 */
#include <inttypes.h>
#include <stddef.h>
#include <stdio.h>

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*translated)(qemu_plugin_id_t,
                                                              struct qemu_plugin_tb*));
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block,
                                              enum qemu_plugin_op operation,
                                              void* counter,
                                              uint64_t amount);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id,
                                    void (*ended)(qemu_plugin_id_t, void*),
                                    void* data);

#define EXPORTED __attribute__((visibility("default")))

EXPORTED int qemu_plugin_version = 1;

static uint64_t instructions;

/* Each time a block runs, all its instructions count. */
static void translated(qemu_plugin_id_t id, struct qemu_plugin_tb* block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(
        block, QEMU_PLUGIN_INLINE_ADD_U64, &instructions, qemu_plugin_tb_n_insns(block));
}

static void ended(qemu_plugin_id_t id, void* data) {
    (void)id;
    (void)data;
    fprintf(stderr, "instructions %" PRIu64 "\n", instructions);
}

EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const void* info, int argc, char** argv) {
    (void)info;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_atexit_cb(id, ended, NULL);
    return 0;
}
