/* tests/schema/asn1c_roundtrip.c - reads messages with the C code asn1c
 * generated from `qbasn schema`'s module, and writes them back.
 *
 * Usage: asn1c_roundtrip MANIFEST
 * MANIFEST has one message a line: "<type reference> <payload file>", the
 * payload being the octets after the four-octet envelope. For each message
 * the program finds the type in asn1c's PDU table (asn_pdu_collection, from
 * -pdu=all), decodes the payload with the BER decoder (every octet must be
 * consumed), checks the value against the module's constraints (the SIZE of
 * fixed byte arrays, UTF-8 of the UTF8Strings), encodes it with the DER
 * encoder and compares the result with the payload octet for octet: the
 * library writes DER, so any difference means the module and the wire
 * disagree. Every failure is one line naming the type and the file; the exit
 * status is 1 when any message failed, 2 on a usage or file error, 0 when all
 * passed. A manifest with no messages is an error.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "asn_application.h"
#include "ber_decoder.h"
#include "constraints.h"
#include "der_encoder.h"

extern struct asn_TYPE_descriptor_s* asn_pdu_collection[];

static asn_TYPE_descriptor_t* find_type(const char* name) {
    for (asn_TYPE_descriptor_t** td = asn_pdu_collection; *td != NULL; ++td)
        if (strcmp((*td)->name, name) == 0) return *td;
    return NULL;
}

/* read_file: the file's octets in a malloc'ed block (*size octets), or NULL. */
static unsigned char* read_file(const char* path, size_t* size) {
    FILE* f = fopen(path, "rb");
    if (f == NULL) return NULL;
    size_t cap = 4096, n = 0;
    unsigned char* data = malloc(cap);
    while (data != NULL) {
        n += fread(data + n, 1, cap - n, f);
        if (n < cap) break;
        cap *= 2;
        unsigned char* bigger = realloc(data, cap);
        if (bigger == NULL) free(data);
        data = bigger;
    }
    if (data != NULL && ferror(f)) {
        free(data);
        data = NULL;
    }
    fclose(f);
    *size = n;
    return data;
}

/* The DER encoder's output, collected into a growing block. */
struct sink {
    unsigned char* data;
    size_t size, cap;
    int failed;
};

static int collect(const void* buffer, size_t size, void* key) {
    struct sink* s = key;
    if (s->size + size > s->cap) {
        size_t cap = s->cap != 0 ? s->cap : 256;
        while (cap < s->size + size) cap *= 2;
        unsigned char* bigger = realloc(s->data, cap);
        if (bigger == NULL) {
            s->failed = 1;
            return -1;
        }
        s->data = bigger;
        s->cap = cap;
    }
    memcpy(s->data + s->size, buffer, size);
    s->size += size;
    return 0;
}

/* check: one message; 1 when it passed, 0 after printing why not. */
static int check(const char* type_name, const char* path) {
    asn_TYPE_descriptor_t* td = find_type(type_name);
    if (td == NULL) {
        printf("FAIL %s %s: the module has no type %s\n", type_name, path, type_name);
        return 0;
    }
    size_t size = 0;
    unsigned char* payload = read_file(path, &size);
    if (payload == NULL) {
        printf("FAIL %s %s: cannot read the file\n", type_name, path);
        return 0;
    }

    int ok = 0;
    void* value = NULL;
    struct sink out = {NULL, 0, 0, 0};
    const asn_dec_rval_t dec = ber_decode(NULL, td, &value, payload, size);
    if (dec.code != RC_OK) {
        printf("FAIL %s %s: BER decoding failed (%s) after %zu of %zu octets\n", type_name, path,
               dec.code == RC_WMORE ? "needs more octets" : "malformed", dec.consumed, size);
        goto done;
    }
    if (dec.consumed != size) {
        printf("FAIL %s %s: BER decoding consumed %zu of %zu octets\n", type_name, path, dec.consumed, size);
        goto done;
    }
    char why[256];
    size_t why_len = sizeof why;
    if (asn_check_constraints(td, value, why, &why_len) != 0) {
        printf("FAIL %s %s: constraint check failed: %s\n", type_name, path, why);
        goto done;
    }
    const asn_enc_rval_t enc = der_encode(td, value, collect, &out);
    if (enc.encoded < 0 || out.failed) {
        printf("FAIL %s %s: DER encoding failed at %s\n", type_name, path,
               enc.failed_type != NULL ? enc.failed_type->name : "?");
        goto done;
    }
    if (out.size != size || memcmp(out.data, payload, size) != 0) {
        size_t at = 0;
        while (at < size && at < out.size && out.data[at] == payload[at]) ++at;
        printf("FAIL %s %s: the DER re-encoding differs from the message at octet %zu (%zu octets against %zu)\n",
               type_name, path, at, out.size, size);
        goto done;
    }
    ok = 1;
done:
    if (value != NULL) ASN_STRUCT_FREE(*td, value);
    free(out.data);
    free(payload);
    return ok;
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: asn1c_roundtrip MANIFEST\n");
        return 2;
    }
    FILE* manifest = fopen(argv[1], "r");
    if (manifest == NULL) {
        fprintf(stderr, "asn1c_roundtrip: cannot open %s\n", argv[1]);
        return 2;
    }
    char line[4096];
    unsigned checked = 0, failed = 0;
    while (fgets(line, sizeof line, manifest) != NULL) {
        char type_name[512], path[3584];
        if (line[0] == '\n' || line[0] == '#') continue;
        if (sscanf(line, "%511s %3583s", type_name, path) != 2) {
            fprintf(stderr, "asn1c_roundtrip: %s: malformed line: %s", argv[1], line);
            fclose(manifest);
            return 2;
        }
        ++checked;
        if (!check(type_name, path)) ++failed;
    }
    fclose(manifest);
    if (checked == 0) {
        fprintf(stderr, "asn1c_roundtrip: %s lists no messages\n", argv[1]);
        return 2;
    }
    printf("asn1c: %u messages, %u failed\n", checked, failed);
    return failed == 0 ? 0 : 1;
}
