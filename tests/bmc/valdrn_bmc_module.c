/*
 * The test BMC: a module for OpenIPMI's ipmi_sim that serves the whole SDR
 * repository and the FRU inventory devices the way IPMI v2.0 defines
 * them, keeps them across restarts in a state
 * file, and lets the tests inject faults and change its behaviour.
 *
 * Options (in the "loadlib" line, and at run time through the OEM command
 * NetFn 0x30, Cmd 0x01 whose data is the same text), separated by blanks:
 *   state=PATH                  where the repository and the FRU data live
 *   fru=ID:SIZE[,ID:SIZE...]    FRU devices and their area sizes
 *   capacity=N                  repository size in bytes (default 16384)
 *   free=N                      free space to report (default: the real one)
 *   opsupport=0xNN              operation support byte (default 0x0E)
 *   overflow=0|1                the overflow flag of the repository info
 *   erase_polls=N               the N-th status poll after an erase reports it
 *                               complete (0: the erase request itself does)
 *   init_polls=N                the N-th status poll after Run Initialization
 *                               Agent reports its final status (0: the run does)
 *   init_status=0xNN            the init agent's final status (default 0x01)
 *   fru_ignore_writes=0|1       Write FRU Data answers success and keeps
 *                               nothing (a write-protected part that says so not)
 *   fail=NETFN:CMD:NTH:CC[:TIMES]  answer the NTH occurrence (counted from now)
 *                               of a command, and TIMES-1 after it (0: all),
 *                               with completion code CC
 *   die=NETFN:CMD:NTH           the BMC kills itself (SIGKILL) when the NTH
 *                               occurrence (counted from now) of a command
 *                               arrives, before acting on it: a BMC reset
 *                               in the middle of a run
 *   stall=NETFN:CMD:NTH:MS      the BMC stops for MS milliseconds when the
 *                               NTH occurrence of a command arrives, before
 *                               acting on it (a frozen BMC), after creating
 *                               the file STATE.stalled
 *   cmdlog=PATH                 append each command this module serves, as
 *                               "netfn:cmd" lines, to PATH ("cmdlog=" stops)
 *   nofaults                    clear every fault
 * Unknown words are refused with completion code 0xCC.
 */
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <OpenIPMI/mcserv.h>
#include <OpenIPMI/serv.h>

#define NETFN_STORAGE 0x0A
#define NETFN_OEM 0x30
#define CMD_OEM_KNOB 0x01

#define CC_OK 0x00
#define CC_NODE_BUSY 0xC0
#define CC_OUT_OF_SPACE 0xC4
#define CC_RESERVATION 0xC5
#define CC_REQUEST_LENGTH 0xC7
#define CC_OUT_OF_RANGE 0xC9
#define CC_TOO_MANY_BYTES 0xCA
#define CC_NOT_PRESENT 0xCB
#define CC_INVALID_FIELD 0xCC
#define CC_LENGTH_MISMATCH 0x80

#define MAX_RECORD 255
#define MAX_FRU_DEVICES 8
#define MAX_FAULTS 8
/* The response buffer holds 36 bytes: the completion code and 35 more. */
#define GET_SDR_MAX_BYTES 33
#define READ_FRU_MAX_BYTES 34

struct record {
    uint16_t id;
    unsigned int length;
    unsigned char data[MAX_RECORD];
};

struct fru_device {
    int present;
    unsigned int size;
    unsigned char* data;
};

struct fault {
    int armed;
    unsigned char netfn;
    unsigned char cmd;
    unsigned int nth;
    unsigned int times; /* 0: every occurrence from the nth on */
    unsigned char cc;
    unsigned int seen;
};

static struct {
    char state_path[1024];
    struct record* records;
    unsigned int count;
    unsigned int allocated;
    uint16_t next_id;
    uint16_t reservation;
    int reserved;
    struct record partial; /* the record a Partial Add is building */
    int partial_active;
    unsigned int capacity;
    long free_override;
    unsigned char op_support;
    int overflow;
    unsigned int erase_polls;
    int fru_ignore_writes;
    unsigned int erase_left;
    unsigned int init_polls;
    unsigned int init_left;
    unsigned char init_status;
    uint32_t added_at;
    uint32_t erased_at;
    struct fru_device fru[MAX_FRU_DEVICES];
    struct fault faults[MAX_FAULTS];
    struct fault death;
    struct fault stall;
    unsigned int stall_ms;
    char cmdlog_path[1024];
} bmc;

/* --- state file ----------------------------------------------------------- */

static void save_state(void)
{
    FILE* f;
    unsigned int i;
    char tmp[1100];

    if (bmc.state_path[0] == '\0')
        return;
    snprintf(tmp, sizeof tmp, "%s.new", bmc.state_path);
    f = fopen(tmp, "wb");
    if (f == NULL)
        return;
    fprintf(f, "VALDRNBMC1 %u %u %u %u\n", bmc.count, (unsigned int)bmc.next_id, (unsigned int)bmc.added_at,
            (unsigned int)bmc.erased_at);
    for (i = 0; i < bmc.count; i++) {
        fprintf(f, "%u %u\n", (unsigned int)bmc.records[i].id, bmc.records[i].length);
        fwrite(bmc.records[i].data, 1, bmc.records[i].length, f);
    }
    for (i = 0; i < MAX_FRU_DEVICES; i++) {
        if (!bmc.fru[i].present)
            continue;
        fprintf(f, "fru %u %u\n", i, bmc.fru[i].size);
        fwrite(bmc.fru[i].data, 1, bmc.fru[i].size, f);
    }
    fclose(f);
    rename(tmp, bmc.state_path);
}

static int add_record(uint16_t id, const unsigned char* data, unsigned int length)
{
    if (bmc.count == bmc.allocated) {
        unsigned int allocated = bmc.allocated ? bmc.allocated * 2 : 64;
        struct record* records = realloc(bmc.records, allocated * sizeof *records);
        if (records == NULL)
            return 0;
        bmc.records = records;
        bmc.allocated = allocated;
    }
    bmc.records[bmc.count].id = id;
    bmc.records[bmc.count].length = length;
    memcpy(bmc.records[bmc.count].data, data, length);
    bmc.count++;
    return 1;
}

/* Exactly one line feed: a "\n" in a scanf format would also swallow
 * data bytes that look like white space (a record ID of 9 or 0x20). */
static int end_of_line(FILE* f)
{
    return fgetc(f) == '\n';
}

static void load_state(void)
{
    FILE* f;
    unsigned int count, next_id, added, erased, i;
    unsigned int id, length, size;

    if (bmc.state_path[0] == '\0')
        return;
    f = fopen(bmc.state_path, "rb");
    if (f == NULL)
        return;
    if (fscanf(f, "VALDRNBMC1 %u %u %u %u", &count, &next_id, &added, &erased) == 4 && end_of_line(f)) {
        bmc.next_id = (uint16_t)next_id;
        bmc.added_at = added;
        bmc.erased_at = erased;
        for (i = 0; i < count; i++) {
            unsigned char data[MAX_RECORD];
            if (fscanf(f, "%u %u", &id, &length) != 2 || !end_of_line(f) || length > MAX_RECORD ||
                fread(data, 1, length, f) != length)
                break;
            add_record((uint16_t)id, data, length);
        }
        /* FRU contents stand in for those of devices of the same size. */
        while (fscanf(f, "fru %u %u", &id, &size) == 2 && end_of_line(f) && id < MAX_FRU_DEVICES) {
            unsigned char* data = malloc(size ? size : 1);
            if (data == NULL || fread(data, 1, size, f) != size) {
                free(data);
                break;
            }
            if (bmc.fru[id].present && bmc.fru[id].size == size)
                memcpy(bmc.fru[id].data, data, size);
            free(data);
        }
    }
    fclose(f);
}

/* --- options -------------------------------------------------------------- */

static void set_fru_device(unsigned int id, unsigned int size)
{
    if (id >= MAX_FRU_DEVICES || size > 0xFFFF)
        return;
    free(bmc.fru[id].data);
    bmc.fru[id].present = 1;
    bmc.fru[id].size = size;
    bmc.fru[id].data = calloc(size ? size : 1, 1);
    if (size > 0)
        memset(bmc.fru[id].data, 0xFF, size); /* an erased device */
}

/* Watches for the NTH occurrence (counted from now) of NETFN:CMD. */
static void arm(struct fault* f, unsigned int netfn, unsigned int cmd, unsigned int nth)
{
    memset(f, 0, sizeof *f);
    f->armed = 1;
    f->netfn = (unsigned char)netfn;
    f->cmd = (unsigned char)cmd;
    f->nth = nth;
}

static int apply_word(const char* word)
{
    unsigned int a, b, c, d, e;
    long value;
    char* end;

    if (strncmp(word, "state=", 6) == 0) {
        snprintf(bmc.state_path, sizeof bmc.state_path, "%s", word + 6);
        return 1;
    }
    if (strncmp(word, "fru=", 4) == 0) {
        const char* p = word + 4;
        while (*p) {
            if (sscanf(p, "%u:%u", &a, &b) != 2)
                return 0;
            set_fru_device(a, b);
            p = strchr(p, ',');
            if (p == NULL)
                break;
            p++;
        }
        return 1;
    }
    if (strncmp(word, "fail=", 5) == 0) {
        int i;
        e = 1;
        if (sscanf(word + 5, "%x:%x:%u:%x:%u", &a, &b, &c, &d, &e) < 4 || c == 0)
            return 0;
        for (i = 0; i < MAX_FAULTS; i++) {
            if (!bmc.faults[i].armed) {
                arm(&bmc.faults[i], a, b, c);
                bmc.faults[i].cc = (unsigned char)d;
                bmc.faults[i].times = e;
                return 1;
            }
        }
        return 0;
    }
    if (strncmp(word, "die=", 4) == 0) {
        if (sscanf(word + 4, "%x:%x:%u", &a, &b, &c) != 3 || c == 0)
            return 0;
        arm(&bmc.death, a, b, c);
        return 1;
    }
    if (strncmp(word, "stall=", 6) == 0) {
        if (sscanf(word + 6, "%x:%x:%u:%u", &a, &b, &c, &d) != 4 || c == 0)
            return 0;
        arm(&bmc.stall, a, b, c);
        bmc.stall_ms = d;
        return 1;
    }
    if (strncmp(word, "cmdlog=", 7) == 0) {
        snprintf(bmc.cmdlog_path, sizeof bmc.cmdlog_path, "%s", word + 7);
        return 1;
    }
    if (strcmp(word, "nofaults") == 0) {
        memset(bmc.faults, 0, sizeof bmc.faults);
        memset(&bmc.death, 0, sizeof bmc.death);
        memset(&bmc.stall, 0, sizeof bmc.stall);
        return 1;
    }
    {
        const char* eq = strchr(word, '=');
        if (eq == NULL)
            return 0;
        value = strtol(eq + 1, &end, 0);
        if (*end != '\0' || value < 0)
            return 0;
        if (strncmp(word, "capacity=", 9) == 0)
            bmc.capacity = (unsigned int)value;
        else if (strncmp(word, "free=", 5) == 0)
            bmc.free_override = value;
        else if (strncmp(word, "opsupport=", 10) == 0)
            bmc.op_support = (unsigned char)value;
        else if (strncmp(word, "overflow=", 9) == 0)
            bmc.overflow = value != 0;
        else if (strncmp(word, "erase_polls=", 12) == 0)
            bmc.erase_polls = (unsigned int)value;
        else if (strncmp(word, "fru_ignore_writes=", 18) == 0)
            bmc.fru_ignore_writes = value != 0;
        else if (strncmp(word, "init_polls=", 11) == 0)
            bmc.init_polls = (unsigned int)value;
        else if (strncmp(word, "init_status=", 12) == 0)
            bmc.init_status = (unsigned char)value;
        else
            return 0;
    }
    return 1;
}

static int apply_options(const char* text, size_t length)
{
    char buffer[1024];
    char *word, *save = NULL;
    int ok = 1;

    if (length >= sizeof buffer)
        return 0;
    memcpy(buffer, text, length);
    buffer[length] = '\0';
    for (word = strtok_r(buffer, " \t\n", &save); word != NULL; word = strtok_r(NULL, " \t\n", &save))
        ok = apply_word(word) && ok;
    return ok;
}

/* --- helpers --------------------------------------------------------------- */

static void reply(unsigned char* rdata, unsigned int* rdata_len, unsigned char cc)
{
    rdata[0] = cc;
    *rdata_len = 1;
}

static void put16(unsigned char* p, unsigned int value)
{
    p[0] = (unsigned char)(value & 0xFF);
    p[1] = (unsigned char)((value >> 8) & 0xFF);
}

static unsigned int get16(const unsigned char* p)
{
    return (unsigned int)p[0] | ((unsigned int)p[1] << 8);
}

static void log_command(const msg_t* msg)
{
    FILE* log;
    if (bmc.cmdlog_path[0] == '\0')
        return;
    log = fopen(bmc.cmdlog_path, "a");
    if (log != NULL) {
        fprintf(log, "%02x:%02x\n", msg->netfn, msg->cmd);
        fclose(log);
    }
}

/* True once, when the armed trigger's occurrence of its command arrives. */
static int reached(struct fault* f, const msg_t* msg)
{
    return f->armed && f->netfn == msg->netfn && f->cmd == msg->cmd && ++f->seen == f->nth;
}

/* Stops the whole simulator for a while, after telling the tests so. */
static void stall(void)
{
    char marker[1100];
    FILE* file;
    snprintf(marker, sizeof marker, "%s.stalled", bmc.state_path);
    file = fopen(marker, "w");
    if (file != NULL)
        fclose(file);
    {
        struct timespec pause = {(time_t)(bmc.stall_ms / 1000u), (long)(bmc.stall_ms % 1000u) * 1000000L};
        while (nanosleep(&pause, &pause) != 0)
            ;
    }
}

/* An armed fault answers the command instead of the command itself; an
   armed death ends the BMC before it. */
static int faulted(msg_t* msg, unsigned char* rdata, unsigned int* rdata_len)
{
    int i;
    log_command(msg);
    if (reached(&bmc.death, msg))
        kill(getpid(), SIGKILL);
    if (reached(&bmc.stall, msg))
        stall();
    for (i = 0; i < MAX_FAULTS; i++) {
        struct fault* f = &bmc.faults[i];
        if (!f->armed || f->netfn != msg->netfn || f->cmd != msg->cmd)
            continue;
        f->seen++;
        if (f->seen >= f->nth && (f->times == 0 || f->seen < f->nth + f->times)) {
            reply(rdata, rdata_len, f->cc);
            return 1;
        }
    }
    return 0;
}

static unsigned int used_space(void)
{
    unsigned int i, used = 0;
    for (i = 0; i < bmc.count; i++)
        used += bmc.records[i].length;
    return used;
}

static unsigned int free_space(void)
{
    unsigned int used = used_space();
    if (bmc.free_override >= 0)
        return (unsigned int)bmc.free_override;
    return used < bmc.capacity ? bmc.capacity - used : 0;
}

static int reservation_ok(const unsigned char* data)
{
    return bmc.reserved && get16(data) == bmc.reservation;
}

static int find_record(unsigned int id)
{
    unsigned int i;
    if (bmc.count == 0)
        return -1;
    if (id == 0x0000)
        return 0;
    if (id == 0xFFFF)
        return (int)bmc.count - 1;
    for (i = 0; i < bmc.count; i++)
        if (bmc.records[i].id == id)
            return (int)i;
    return -1;
}

static uint16_t new_record_id(void)
{
    uint16_t id;
    do {
        id = bmc.next_id++;
        if (bmc.next_id == 0xFFFF)
            bmc.next_id = 1;
    } while (id == 0 || id == 0xFFFF || find_record(id) >= 0);
    return id;
}

static int store_record(struct record* r, unsigned char* rdata, unsigned int* rdata_len)
{
    if (r->length < 5 || r->length != (unsigned int)r->data[4] + 5u) {
        reply(rdata, rdata_len, CC_LENGTH_MISMATCH);
        return 0;
    }
    if (r->length > free_space() && bmc.free_override < 0) {
        reply(rdata, rdata_len, CC_OUT_OF_SPACE);
        return 0;
    }
    put16(r->data, r->id);
    if (!add_record(r->id, r->data, r->length)) {
        reply(rdata, rdata_len, CC_OUT_OF_SPACE);
        return 0;
    }
    bmc.added_at = (uint32_t)time(NULL);
    save_state();
    return 1;
}

/* --- SDR repository ---------------------------------------------------------- */

static void get_sdr_repository_info(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len,
                                    void* cb_data)
{
    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    rdata[0] = CC_OK;
    rdata[1] = 0x51;
    put16(rdata + 2, bmc.count);
    put16(rdata + 4, free_space() > 0xFFFE ? 0xFFFE : free_space());
    put16(rdata + 6, bmc.added_at & 0xFFFF);
    put16(rdata + 8, bmc.added_at >> 16);
    put16(rdata + 10, bmc.erased_at & 0xFFFF);
    put16(rdata + 12, bmc.erased_at >> 16);
    rdata[14] = (unsigned char)((bmc.op_support & 0x7F) | (bmc.overflow ? 0x80 : 0));
    *rdata_len = 15;
}

static void reserve_sdr_repository(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len,
                                   void* cb_data)
{
    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    /* A new reservation cancels the one before. */
    bmc.reservation++;
    if (bmc.reservation == 0)
        bmc.reservation = 1;
    bmc.reserved = 1;
    rdata[0] = CC_OK;
    put16(rdata + 1, bmc.reservation);
    *rdata_len = 3;
}

static void get_sdr(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len, void* cb_data)
{
    unsigned int offset, count, next;
    int index;
    const struct record* r;

    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    if (msg->len < 6) {
        reply(rdata, rdata_len, CC_REQUEST_LENGTH);
        return;
    }
    offset = msg->data[4];
    count = msg->data[5];
    if (offset != 0 && !reservation_ok(msg->data)) {
        reply(rdata, rdata_len, CC_RESERVATION);
        return;
    }
    index = find_record(get16(msg->data + 2));
    if (index < 0) {
        reply(rdata, rdata_len, CC_NOT_PRESENT);
        return;
    }
    r = &bmc.records[index];
    if (offset > r->length) {
        reply(rdata, rdata_len, CC_OUT_OF_RANGE);
        return;
    }
    if (count == 0xFF)
        count = r->length - offset;
    if (count > GET_SDR_MAX_BYTES) {
        reply(rdata, rdata_len, CC_TOO_MANY_BYTES);
        return;
    }
    if (offset + count > r->length)
        count = r->length - offset;
    next = (unsigned int)index + 1 < bmc.count ? bmc.records[index + 1].id : 0xFFFF;
    rdata[0] = CC_OK;
    put16(rdata + 1, next);
    memcpy(rdata + 3, r->data + offset, count);
    *rdata_len = 3 + count;
}

static void add_sdr(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len, void* cb_data)
{
    struct record r;

    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    if (msg->len < 5 || msg->len > MAX_RECORD) {
        reply(rdata, rdata_len, CC_REQUEST_LENGTH);
        return;
    }
    memset(&r, 0, sizeof r);
    r.length = msg->len;
    memcpy(r.data, msg->data, msg->len);
    r.id = new_record_id();
    if (!store_record(&r, rdata, rdata_len))
        return;
    rdata[0] = CC_OK;
    put16(rdata + 1, r.id);
    *rdata_len = 3;
}

static void partial_add_sdr(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len, void* cb_data)
{
    unsigned int id, offset, progress, count;

    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    if (msg->len < 6) {
        reply(rdata, rdata_len, CC_REQUEST_LENGTH);
        return;
    }
    if (!reservation_ok(msg->data)) {
        reply(rdata, rdata_len, CC_RESERVATION);
        return;
    }
    id = get16(msg->data + 2);
    offset = msg->data[4];
    progress = msg->data[5] & 0x0F;
    count = msg->len - 6;
    if (offset == 0) {
        /* The first chunk names record ID 0 and starts a new record. */
        if (id != 0) {
            reply(rdata, rdata_len, CC_INVALID_FIELD);
            return;
        }
        memset(&bmc.partial, 0, sizeof bmc.partial);
        bmc.partial.id = new_record_id();
        bmc.partial_active = 1;
    } else if (!bmc.partial_active || id != bmc.partial.id || offset != bmc.partial.length) {
        reply(rdata, rdata_len, CC_LENGTH_MISMATCH);
        return;
    }
    if (offset + count > MAX_RECORD) {
        reply(rdata, rdata_len, CC_LENGTH_MISMATCH);
        return;
    }
    memcpy(bmc.partial.data + offset, msg->data + 6, count);
    bmc.partial.length = offset + count;
    if (progress == 1) {
        bmc.partial_active = 0;
        if (!store_record(&bmc.partial, rdata, rdata_len))
            return;
    }
    rdata[0] = CC_OK;
    put16(rdata + 1, bmc.partial.id);
    *rdata_len = 3;
}

static void delete_sdr(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len, void* cb_data)
{
    int index;

    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    if (msg->len < 4) {
        reply(rdata, rdata_len, CC_REQUEST_LENGTH);
        return;
    }
    if (!reservation_ok(msg->data)) {
        reply(rdata, rdata_len, CC_RESERVATION);
        return;
    }
    index = find_record(get16(msg->data + 2));
    if (index < 0) {
        reply(rdata, rdata_len, CC_NOT_PRESENT);
        return;
    }
    rdata[0] = CC_OK;
    put16(rdata + 1, bmc.records[index].id);
    *rdata_len = 3;
    memmove(&bmc.records[index], &bmc.records[index + 1],
            (bmc.count - (unsigned int)index - 1) * sizeof(struct record));
    bmc.count--;
    save_state();
}

static void clear_sdr_repository(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len,
                                 void* cb_data)
{
    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    if (msg->len < 6) {
        reply(rdata, rdata_len, CC_REQUEST_LENGTH);
        return;
    }
    if (!reservation_ok(msg->data)) {
        reply(rdata, rdata_len, CC_RESERVATION);
        return;
    }
    if (msg->data[2] != 'C' || msg->data[3] != 'L' || msg->data[4] != 'R') {
        reply(rdata, rdata_len, CC_INVALID_FIELD);
        return;
    }
    if (msg->data[5] == 0xAA) {
        bmc.count = 0;
        bmc.partial_active = 0;
        bmc.erased_at = (uint32_t)time(NULL);
        bmc.erase_left = bmc.erase_polls;
        save_state();
    } else if (msg->data[5] == 0x00) {
        if (bmc.erase_left > 0)
            bmc.erase_left--;
    } else {
        reply(rdata, rdata_len, CC_INVALID_FIELD);
        return;
    }
    rdata[0] = CC_OK;
    rdata[1] = bmc.erase_left > 0 ? 0x00 : 0x01;
    *rdata_len = 2;
}

static void run_initialization_agent(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len,
                                     void* cb_data)
{
    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    if (msg->len < 1) {
        reply(rdata, rdata_len, CC_REQUEST_LENGTH);
        return;
    }
    if (msg->data[0] & 0x01) {
        bmc.init_left = bmc.init_polls;
    } else if (bmc.init_left > 0) {
        bmc.init_left--;
    }
    rdata[0] = CC_OK;
    rdata[1] = bmc.init_left > 0 ? 0x00 : bmc.init_status;
    *rdata_len = 2;
}

/* --- FRU inventory ------------------------------------------------------------ */

static struct fru_device* fru_device(msg_t* msg, unsigned char* rdata, unsigned int* rdata_len, unsigned int length)
{
    if (msg->len < length) {
        reply(rdata, rdata_len, CC_REQUEST_LENGTH);
        return NULL;
    }
    if (msg->data[0] >= MAX_FRU_DEVICES || !bmc.fru[msg->data[0]].present) {
        reply(rdata, rdata_len, CC_NOT_PRESENT);
        return NULL;
    }
    return &bmc.fru[msg->data[0]];
}

static void get_fru_inventory_area_info(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len,
                                        void* cb_data)
{
    struct fru_device* device;

    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    device = fru_device(msg, rdata, rdata_len, 1);
    if (device == NULL)
        return;
    rdata[0] = CC_OK;
    put16(rdata + 1, device->size);
    rdata[3] = 0x00; /* byte access */
    *rdata_len = 4;
}

static void read_fru_data(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len, void* cb_data)
{
    struct fru_device* device;
    unsigned int offset, count;

    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    device = fru_device(msg, rdata, rdata_len, 4);
    if (device == NULL)
        return;
    offset = get16(msg->data + 1);
    count = msg->data[3];
    if (count > READ_FRU_MAX_BYTES) {
        reply(rdata, rdata_len, CC_TOO_MANY_BYTES);
        return;
    }
    if (offset >= device->size) {
        reply(rdata, rdata_len, CC_OUT_OF_RANGE);
        return;
    }
    /* A read past the end returns what the area holds. */
    if (offset + count > device->size)
        count = device->size - offset;
    rdata[0] = CC_OK;
    rdata[1] = (unsigned char)count;
    memcpy(rdata + 2, device->data + offset, count);
    *rdata_len = 2 + count;
}

static void write_fru_data(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len, void* cb_data)
{
    struct fru_device* device;
    unsigned int offset, count;

    (void)mc;
    (void)cb_data;
    if (faulted(msg, rdata, rdata_len))
        return;
    device = fru_device(msg, rdata, rdata_len, 3);
    if (device == NULL)
        return;
    offset = get16(msg->data + 1);
    count = msg->len - 3;
    if (offset + count > device->size) {
        reply(rdata, rdata_len, CC_OUT_OF_RANGE);
        return;
    }
    if (!bmc.fru_ignore_writes) {
        memcpy(device->data + offset, msg->data + 3, count);
        save_state();
    }
    rdata[0] = CC_OK;
    rdata[1] = (unsigned char)count;
    *rdata_len = 2;
}

/* --- knobs ------------------------------------------------------------------- */

static void set_knobs(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len, void* cb_data)
{
    (void)mc;
    (void)cb_data;
    reply(rdata, rdata_len, apply_options((const char*)msg->data, msg->len) ? CC_OK : CC_INVALID_FIELD);
}

/* --- module entry points --------------------------------------------------------- */

int ipmi_sim_module_print_version(sys_data_t* sys, char* options)
{
    (void)sys;
    (void)options;
    printf("VALDRN test BMC module 1\n");
    return 0;
}

int ipmi_sim_module_init(sys_data_t* sys, const char* options)
{
    static const struct {
        unsigned char netfn;
        unsigned char cmd;
        cmd_handler_f handler;
    } handlers[] = {
        {NETFN_STORAGE, 0x20, get_sdr_repository_info},
        {NETFN_STORAGE, 0x22, reserve_sdr_repository},
        {NETFN_STORAGE, 0x23, get_sdr},
        {NETFN_STORAGE, 0x24, add_sdr},
        {NETFN_STORAGE, 0x25, partial_add_sdr},
        {NETFN_STORAGE, 0x26, delete_sdr},
        {NETFN_STORAGE, 0x27, clear_sdr_repository},
        {NETFN_STORAGE, 0x2C, run_initialization_agent},
        {NETFN_STORAGE, 0x10, get_fru_inventory_area_info},
        {NETFN_STORAGE, 0x11, read_fru_data},
        {NETFN_STORAGE, 0x12, write_fru_data},
        {NETFN_OEM, CMD_OEM_KNOB, set_knobs},
    };
    unsigned int i;

    (void)sys;
    memset(&bmc, 0, sizeof bmc);
    bmc.next_id = 1;
    bmc.capacity = 16384;
    bmc.free_override = -1;
    bmc.op_support = 0x0E; /* delete, partial add, reserve */
    bmc.init_status = 0x01;
    if (options != NULL && !apply_options(options, strlen(options))) {
        fprintf(stderr, "valdrn_bmc: bad options: %s\n", options);
        return 1;
    }
    load_state();
    for (i = 0; i < sizeof handlers / sizeof handlers[0]; i++) {
        if (ipmi_emu_register_cmd_handler(handlers[i].netfn, handlers[i].cmd, handlers[i].handler, NULL) != 0) {
            fprintf(stderr, "valdrn_bmc: cannot register %02x/%02x\n", handlers[i].netfn, handlers[i].cmd);
            return 1;
        }
    }
    return 0;
}
