/* The parameter sets of H.265 files, for programs in any language: what the program h265ps shows, from C.
 *
 * A file is read as a whole when it is opened: byte streams, MP4, MOV, HEIF, Matroska, MPEG-TS and SDP, known by
 * their content. Everything that a function returns belongs to the file and lives until h265ps_close(); texts are
 * UTF-8 and end with a zero byte. No function throws, ends the program, or writes to standard output. A file is for
 * one thread at a time; files on different threads are independent (they are read one after another). */
#ifndef H265PS_H
#define H265PS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define H265PS_API __attribute__((visibility("default")))
#else
#define H265PS_API
#endif

/* An opened file. */
typedef struct h265ps_file h265ps_file;
/* A VPS, SPS or PPS NAL unit of a file. */
typedef struct h265ps_set h265ps_set;

/* Numbers are never given another meaning; new ones can come. */
typedef enum h265ps_status
{
    H265PS_OK = 0,
    H265PS_UNREADABLE = 1,   /* missing, no file, cut, or of no kind that is read: h265ps_errors() says why */
    H265PS_BAD_ARGUMENT = 2, /* a null pointer */
    H265PS_NO_MEMORY = 3
} h265ps_status;

/* nal_unit_type, H.265 Table 7-1. */
typedef enum h265ps_type
{
    H265PS_VPS = 32,
    H265PS_SPS = 33,
    H265PS_PPS = 34
} h265ps_type;

typedef enum h265ps_severity
{
    H265PS_ERROR = 0,  /* H.265, or the container's standard, forbids it */
    H265PS_WARNING = 1 /* advised against, contradictory, or known to trouble players */
} h265ps_severity;

/* A syntax element of a set. */
typedef struct h265ps_element
{
    const char* name;       /* with indices: "general_profile_compatibility_flag[3]" */
    const char* structure;  /* that it stands in: "", "vui_parameters.hrd_parameters" */
    const char* descriptor; /* "u(8)", "ue(v)", "se(v)" */
    int64_t value;
    uint64_t bit;     /* in the RBSP, the NAL unit header excluded */
    uint64_t nal_bit; /* in the NAL unit */
    uint32_t bits;    /* length */
} h265ps_element;

/* What is wrong with a set, a stream or its container. */
typedef struct h265ps_finding
{
    h265ps_severity severity;
    const char* clause;    /* of H.265 unless it says otherwise; "" for none */
    const char* element;   /* with indices; "" where no single one is to blame */
    const char* structure; /* that the element stands in */
    const char* box;       /* of the container that it is about; "" for none */
    const char* message;
    int64_t offset; /* byte of the file; -1 where there is none */
    int64_t bit;    /* of the element in the RBSP; -1 for none */
} h265ps_finding;

/* The version of the library: "0.2.0". */
H265PS_API const char* h265ps_version(void);
/* What a status means, in words. */
H265PS_API const char* h265ps_status_text(h265ps_status status);

/* Opens and reads a file. With H265PS_UNREADABLE *file is set too and holds what was read, and the errors; it is to be
 * closed as well. With any other failure *file is null. */
H265PS_API h265ps_status h265ps_open(const char* path, h265ps_file** file);
/* The same of the bytes of a file, which are not needed any more afterwards. */
H265PS_API h265ps_status h265ps_open_memory(const void* bytes, size_t size, h265ps_file** file);
/* Null is allowed. */
H265PS_API void h265ps_close(h265ps_file* file);

/* The next set in the file's order, null behind the last one. */
H265PS_API const h265ps_set* h265ps_next(h265ps_file* file);
/* Lets h265ps_next() begin again. */
H265PS_API void h265ps_rewind(h265ps_file* file);
H265PS_API size_t h265ps_set_count(const h265ps_file* file);
/* Null from h265ps_set_count() on. */
H265PS_API const h265ps_set* h265ps_set_at(const h265ps_file* file, size_t index);

/* Whether a decoder (8-bit 4:2:0, one layer) takes the file, in words; and as h265ps exits: 0 it does, 1 it does
 * not, 2 the file could not be read to its end. */
H265PS_API const char* h265ps_verdict(const h265ps_file* file);
H265PS_API int h265ps_exit_code(const h265ps_file* file);
/* Everything as h265ps --json writes it; "" when nothing was read. */
H265PS_API const char* h265ps_json(const h265ps_file* file);
/* The error lines, each with a newline; "" for none. */
H265PS_API const char* h265ps_errors(const h265ps_file* file);
/* Findings about sets among each other and about the container. */
H265PS_API size_t h265ps_finding_count(const h265ps_file* file);
/* 1, or 0 from the count on; *finding is left alone then. */
H265PS_API int h265ps_finding_at(const h265ps_file* file, size_t index, h265ps_finding* finding);

H265PS_API h265ps_type h265ps_set_type(const h265ps_set* set);
/* Its id, -1 where it could not be read. */
H265PS_API int h265ps_set_id(const h265ps_set* set);
/* nuh_layer_id, -1 of a unit that is cut off in its header. */
H265PS_API int h265ps_set_layer(const h265ps_set* set);
/* Where it stands: "byte 33", "track 1, hvcC". */
H265PS_API const char* h265ps_set_place(const h265ps_set* set);
/* Byte of the file, -1 where the bytes do not stand so in it. */
H265PS_API int64_t h265ps_set_offset(const h265ps_set* set);
/* Of the NAL unit in bytes. */
H265PS_API uint64_t h265ps_set_size(const h265ps_set* set);
/* track_ID, TrackNumber, PID or item id; -1 in a byte stream. */
H265PS_API int64_t h265ps_set_track(const h265ps_set* set);
/* 1 with the seconds in *time, or 0. */
H265PS_API int h265ps_set_time(const h265ps_set* set, double* time);
/* 1 of a repeat: it has the id and the elements of the first one, which has the findings, and in JSON record and
 * syntax. */
H265PS_API int h265ps_set_is_repeat(const h265ps_set* set);
/* 1 when the decoder read it and its own checks pass. */
H265PS_API int h265ps_set_is_accepted(const h265ps_set* set);
/* The set as h265ps --json writes it, with record, syntax and findings. */
H265PS_API const char* h265ps_set_json(const h265ps_set* set);

/* The value of a coded element at its path: "vui_parameters.colour_primaries", "sub_layer_level_idc[1]" with its
 * structure in front. 1, or 0 when the set has no such element; *value is left alone then. */
H265PS_API int h265ps_set_value(const h265ps_set* set, const char* path, int64_t* value);
/* The coded elements, in coding order. */
H265PS_API size_t h265ps_element_count(const h265ps_set* set);
H265PS_API int h265ps_element_at(const h265ps_set* set, size_t index, h265ps_element* element);
/* Findings about this set. */
H265PS_API size_t h265ps_set_finding_count(const h265ps_set* set);
H265PS_API int h265ps_set_finding_at(const h265ps_set* set, size_t index, h265ps_finding* finding);

#ifdef __cplusplus
}
#endif

#endif
