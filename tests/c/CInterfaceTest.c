/* The C interface, as a C program of 1999 uses it: CInterfaceTest CORPUS CONTAINERS. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "h265ps.h"

static int g_failures = 0;

static void expect(int holds, const char *what, int line)
{
    if (holds)
        return;
    fprintf(stderr, "CInterfaceTest.c:%d: %s\n", line, what);
    ++g_failures;
}
#define EXPECT(what) expect((what) != 0, #what, __LINE__)

static const char *path_of(const char *folder, const char *name)
{
    static char path[4096];
    snprintf(path, sizeof(path), "%s/%s", folder, name);
    return path;
}

static void reads_a_byte_stream(const char *path)
{
    h265ps_file *file = NULL;
    const h265ps_set *set = NULL;
    h265ps_element element;
    int64_t value = 0;
    double time = 0;
    size_t i = 0;
    EXPECT(h265ps_open(path, &file) == H265PS_OK);
    EXPECT(h265ps_exit_code(file) == 1);
    EXPECT(strncmp(h265ps_verdict(file), "not supported: 10-bit samples", 29) == 0);
    EXPECT(strstr(h265ps_errors(file), "at byte 32: SPS 0 not supported") != NULL);
    EXPECT(h265ps_json(file)[0] == '{');
    EXPECT(h265ps_set_count(file) == 3);
    EXPECT(h265ps_set_type(h265ps_next(file)) == H265PS_VPS);
    set = h265ps_next(file);
    EXPECT(h265ps_set_type(set) == H265PS_SPS);
    EXPECT(set == h265ps_set_at(file, 1));
    EXPECT(h265ps_set_id(set) == 0 && h265ps_set_layer(set) == 0 && h265ps_set_track(set) == -1);
    EXPECT(h265ps_set_offset(set) == 32 && h265ps_set_size(set) > 10);
    EXPECT(strcmp(h265ps_set_place(set), "byte 32") == 0);
    EXPECT(!h265ps_set_time(set, &time) && !h265ps_set_is_repeat(set) && !h265ps_set_is_accepted(set));
    EXPECT(strncmp(h265ps_set_json(set), "{\"type\":\"SPS\"", 13) == 0);
    EXPECT(h265ps_set_json(set)[strlen(h265ps_set_json(set)) - 1] == '}');
    EXPECT(h265ps_set_value(set, "pic_width_in_luma_samples", &value) && value == 176);
    EXPECT(h265ps_set_value(set, "profile_tier_level.general_profile_compatibility_flag[2]", &value) && value == 1);
    value = 7;
    EXPECT(!h265ps_set_value(set, "general_profile_compatibility_flag[2]", &value) && value == 7);
    EXPECT(!h265ps_set_value(set, "", &value) && value == 7);
    EXPECT(h265ps_element_at(set, 0, &element) && strcmp(element.name, "sps_video_parameter_set_id") == 0);
    EXPECT(strcmp(element.descriptor, "u(4)") == 0 && element.structure[0] == '\0');
    EXPECT(element.bit == 0 && element.nal_bit == 16 && element.bits == 4 && element.value == 0);
    for (i = 0; h265ps_element_at(set, i, &element); ++i) {
    }
    EXPECT(i == h265ps_element_count(set) && i > 50);
    EXPECT(h265ps_set_type(h265ps_next(file)) == H265PS_PPS);
    EXPECT(h265ps_next(file) == NULL && h265ps_next(file) == NULL);
    h265ps_rewind(file);
    EXPECT(h265ps_set_type(h265ps_next(file)) == H265PS_VPS);
    h265ps_close(file);
}

static void reads_a_movie(const char *path)
{
    h265ps_file *file = NULL;
    const h265ps_set *set = NULL;
    h265ps_element element;
    int64_t level = 0;
    double time = -1;
    int repeats = 0;
    EXPECT(h265ps_open(path, &file) == H265PS_OK);
    EXPECT(h265ps_exit_code(file) == 0);
    EXPECT(h265ps_errors(file)[0] == '\0');
    set = h265ps_next(file);
    EXPECT(strcmp(h265ps_set_place(set), "track 1, hvcC") == 0);
    EXPECT(h265ps_set_track(set) == 1 && h265ps_set_is_accepted(set));
    for (; set != NULL; set = h265ps_next(file)) {
        if (!h265ps_set_is_repeat(set))
            continue;
        ++repeats;
        EXPECT(h265ps_set_id(set) == 0 && h265ps_set_finding_count(set) == 0);
        EXPECT(h265ps_element_count(set) > 10 && h265ps_element_at(set, 0, &element));
        if (h265ps_set_type(set) != H265PS_PPS)
            EXPECT(h265ps_set_value(set, "profile_tier_level.general_level_idc", &level) && level == 60);
        EXPECT(h265ps_set_time(set, &time) && time >= 0);
    }
    EXPECT(repeats > 0);
    h265ps_close(file);
}

static void tells_findings(const char *path)
{
    h265ps_file *file = NULL;
    const h265ps_set *set = NULL;
    h265ps_finding finding;
    int errors = 0;
    EXPECT(h265ps_open(path, &file) == H265PS_OK);
    while ((set = h265ps_next(file)) != NULL) {
        size_t i;
        for (i = 0; h265ps_set_finding_at(set, i, &finding); ++i) {
            errors += finding.severity == H265PS_ERROR;
            EXPECT(finding.clause[0] != '\0' && finding.message[0] != '\0');
            EXPECT(finding.offset == h265ps_set_offset(set));
        }
        EXPECT(i == h265ps_set_finding_count(set));
    }
    EXPECT(errors > 0);
    EXPECT(!h265ps_finding_at(file, h265ps_finding_count(file), &finding));
    h265ps_close(file);
}

static void *contents(const char *path, size_t *size)
{
    FILE *stream = fopen(path, "rb");
    char *bytes = malloc(1 << 20);
    *size = stream != NULL && bytes != NULL ? fread(bytes, 1, 1 << 20, stream) : 0;
    if (stream != NULL)
        fclose(stream);
    return bytes;
}

static void reads_memory(const char *path)
{
    size_t size = 0;
    void *bytes = contents(path, &size);
    h265ps_file *file = NULL;
    h265ps_file *cut = NULL;
    EXPECT(h265ps_open_memory(bytes, size, &file) == H265PS_OK);
    EXPECT(h265ps_set_count(file) == 3);
    EXPECT(strstr(h265ps_errors(file), "h265ps: error: memory: at byte 32") != NULL);
    EXPECT(strncmp(h265ps_json(file), "{\"file\":\"memory\"", 16) == 0);
    h265ps_close(file);
    EXPECT(h265ps_open_memory(bytes, 20, &cut) == H265PS_OK);
    EXPECT(h265ps_exit_code(cut) == 1);
    h265ps_close(cut);
    EXPECT(h265ps_open_memory(bytes, 0, &cut) == H265PS_UNREADABLE);
    EXPECT(strcmp(h265ps_errors(cut), "h265ps: error: memory: the file is empty\n") == 0);
    h265ps_close(cut);
    free(bytes);
}

static void says_why_not(const char *folder)
{
    h265ps_file *file = (h265ps_file *)folder; /* anything but null */
    h265ps_finding finding;
    h265ps_element element;
    int64_t value = 0;
    EXPECT(h265ps_open(path_of(folder, "missing.hevc"), &file) == H265PS_UNREADABLE);
    EXPECT(strstr(h265ps_errors(file), "missing.hevc: no such file or directory") != NULL);
    EXPECT(h265ps_set_count(file) == 0 && h265ps_next(file) == NULL && h265ps_exit_code(file) == 2);
    EXPECT(h265ps_json(file)[0] == '\0');
    h265ps_close(file);
    EXPECT(h265ps_open(folder, &file) == H265PS_UNREADABLE);
    EXPECT(strstr(h265ps_errors(file), "is a directory") != NULL);
    h265ps_close(file);
    EXPECT(h265ps_open("-", &file) == H265PS_UNREADABLE); /* a name like any other */
    h265ps_close(file);
    EXPECT(h265ps_open(NULL, &file) == H265PS_BAD_ARGUMENT && file == NULL);
    EXPECT(h265ps_open(folder, NULL) == H265PS_BAD_ARGUMENT);
    EXPECT(h265ps_open_memory(NULL, 1, &file) == H265PS_BAD_ARGUMENT && file == NULL);
    h265ps_close(NULL);
    EXPECT(h265ps_next(NULL) == NULL && h265ps_set_at(NULL, 0) == NULL && h265ps_set_count(NULL) == 0);
    EXPECT(h265ps_set_id(NULL) == -1 && !h265ps_set_value(NULL, "x", &value) && !h265ps_element_at(NULL, 0, &element));
    EXPECT(!h265ps_finding_at(NULL, 0, &finding) && !h265ps_set_finding_at(NULL, 0, &finding));
    EXPECT(h265ps_verdict(NULL)[0] == '\0' && h265ps_set_json(NULL)[0] == '\0');
}

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    EXPECT(h265ps_version()[0] == '0');
    EXPECT(strcmp(h265ps_status_text(H265PS_NO_MEMORY), "out of memory") == 0);
    reads_a_byte_stream(path_of(argv[1], "profile_main10.hevc"));
    reads_a_movie(path_of(argv[2], "hvc1.mp4"));
    tells_findings(path_of(argv[1], "tool_lossless.hevc"));
    reads_memory(path_of(argv[1], "profile_main10.hevc"));
    says_why_not(argv[1]);
    return g_failures == 0 ? 0 : 1;
}
