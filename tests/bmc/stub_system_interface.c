/*
 * Stand-ins for libopenraw.so and libkcsio.so in the unit tests of the
 * system-interface access: the same entry points, recording their calls.
 * Built in variants (see tests/CMakeLists.txt):
 *   STUB_OPENRAW / STUB_KCSIO     which library
 *   STUB_MISSING_SYMBOL           leaves out one entry point
 *   STUB_OPEN_FAILS               RawOpen / InitKCSIO returns null
 * The tests reach the recorder through StubCalls, StubSetAnswer,
 * StubQueueAnswer and StubReset in the same loaded library: queued answers
 * are given in order, then the set one for every later request.
 */
#include <stdio.h>
#include <string.h>

static char s_calls[4096];
static int s_status;
static unsigned char s_cc;
static unsigned char s_response[100];
static unsigned short s_response_length;
static int s_handle = 1;

#define QUEUE_SIZE 4096
struct queued_answer {
    int status;
    unsigned char cc;
    unsigned char response[100];
    unsigned short length;
};
static struct queued_answer s_queue[QUEUE_SIZE];
static int s_queued;
static int s_next;

static void record(const char* text)
{
    strncat(s_calls, text, sizeof s_calls - strlen(s_calls) - 1);
}

const char* StubCalls(void)
{
    return s_calls;
}

void StubReset(void)
{
    s_calls[0] = '\0';
    s_status = 0;
    s_cc = 0;
    s_response_length = 0;
    s_queued = 0;
    s_next = 0;
}

void StubQueueAnswer(int status, unsigned char cc, const unsigned char* response, unsigned short length)
{
    struct queued_answer* q;
    if (s_queued == QUEUE_SIZE || length > sizeof q->response)
        return;
    q = &s_queue[s_queued++];
    q->status = status;
    q->cc = cc;
    q->length = length;
    memcpy(q->response, response, length);
}

void StubSetAnswer(int status, unsigned char cc, const unsigned char* response, unsigned short length)
{
    s_status = status;
    s_cc = cc;
    s_response_length = length;
    memcpy(s_response, response, length);
}

static int answer(const char* name, unsigned char netfn_lun, unsigned char cmd, unsigned char* req,
                  unsigned char req_len, unsigned char* cc, unsigned char* rsp, unsigned short* rsp_len)
{
    char line[256];
    int i, used;
    used = snprintf(line, sizeof line, "%s %02X %02X capacity=%u [", name, netfn_lun, cmd, *rsp_len);
    for (i = 0; i < req_len && used < 200; i++)
        used += snprintf(line + used, sizeof line - (size_t)used, "%s%02X", i ? " " : "", req[i]);
    snprintf(line + used, sizeof line - (size_t)used, "];");
    record(line);
    if (s_next < s_queued) {
        const struct queued_answer* q = &s_queue[s_next++];
        *cc = q->cc;
        memcpy(rsp, q->response, q->length);
        *rsp_len = q->length;
        return q->status;
    }
    *cc = s_cc;
    memcpy(rsp, s_response, s_response_length);
    *rsp_len = s_response_length;
    return s_status;
}

#ifdef STUB_OPENRAW
void* RawOpen(void)
{
    record("RawOpen;");
#ifdef STUB_OPEN_FAILS
    return NULL;
#else
    return &s_handle;
#endif
}

void RawClose(void* handle)
{
    record(handle == &s_handle ? "RawClose;" : "RawClose(bad handle);");
}

int RawRequest(void* handle, unsigned char netfn_lun, unsigned char cmd, unsigned char* req, unsigned char req_len,
               unsigned char* cc, unsigned char* rsp, unsigned short* rsp_len)
{
    (void)handle;
    return answer("RawRequest", netfn_lun, cmd, req, req_len, cc, rsp, rsp_len);
}

#ifndef STUB_MISSING_SYMBOL
int RawIPMBRequest(void* handle, unsigned char slave, unsigned char netfn_lun, unsigned char cmd, unsigned char* req,
                   unsigned char req_len, unsigned char* cc, unsigned char* rsp, unsigned short* rsp_len)
{
    char line[32];
    (void)handle;
    snprintf(line, sizeof line, "slave=%02X ", slave);
    record(line);
    return answer("RawIPMBRequest", netfn_lun, cmd, req, req_len, cc, rsp, rsp_len);
}
#endif
#endif

#ifdef STUB_KCSIO
void* InitKCSIO(unsigned short port, int spacing)
{
    char line[64];
    snprintf(line, sizeof line, "InitKCSIO port=%X spacing=%d;", port, spacing);
    record(line);
#ifdef STUB_OPEN_FAILS
    return NULL;
#else
    return &s_handle;
#endif
}

void UinitKCSIO(void* handle)
{
    record(handle == &s_handle ? "UinitKCSIO;" : "UinitKCSIO(bad handle);");
}

int KCSIORequest(void* handle, unsigned char netfn_lun, unsigned char cmd, unsigned char* req, unsigned char req_len,
                 unsigned char* cc, unsigned char* rsp, unsigned short* rsp_len)
{
    (void)handle;
    return answer("KCSIORequest", netfn_lun, cmd, req, req_len, cc, rsp, rsp_len);
}

static int set_time(const char* name, unsigned char value)
{
    char line[64];
    snprintf(line, sizeof line, "%s %u;", name, value);
    record(line);
    return s_status;
}

int KCSIOSetIOTimeOut(void* handle, unsigned char value)
{
    (void)handle;
    return set_time("KCSIOSetIOTimeOut", value);
}

int KCSIOSetMessageTransferTimeOut(void* handle, unsigned char value)
{
    (void)handle;
    return set_time("KCSIOSetMessageTransferTimeOut", value);
}

#ifndef STUB_MISSING_SYMBOL
int KCSIOSetWaitTimeBeforeReadRsp(void* handle, unsigned char value)
{
    (void)handle;
    return set_time("KCSIOSetWaitTimeBeforeReadRsp", value);
}
#endif
#endif
