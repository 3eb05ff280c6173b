"""What compare.py measures: the workloads, the scaling set and the targets."""
import collections

# name: (bytes read, bytes written, element size class in MiB at 256^3) a nominal voxel; None: no memory limit is given.
WORKLOADS = {
    "voxelops": {
        "add_u8": (2, 1, 16), "add_i16": (4, 2, 32), "add_f32": (8, 4, 64), "min_i16": (4, 2, 32),
        "max_f32": (8, 4, 64), "rescale_i16": (2, 2, 32), "replace_i16": (3, 2, 32), "replace_f32": (5, 4, 64),
        "conv_i16_f32": (2, 4, 64), "conv_f32_i16": (4, 2, 64), "countnz_u8": (1, 0, 16), "countnz_i16": (2, 0, 32),
        "bbox_i16": (2, 0, 32)},
    "statistics": {
        "mean_u8": (1, 0, 16), "mean_i16": (2, 0, 32), "mean_f32": (4, 0, 64), "meannz_u8": (1, 0, 16),
        "median_u8": (1, 0, 16), "median_i16": (2, 0, 32), "median_f32": (4, 0, 64), "otsu_i16": (2, 0, 32),
        "otsu_f32": (8, 0, 64)},
    "differential": {
        "grad_f32": (4, 12, 64), "grad_i16": (2, 12, 64), "gradnorm_f32": (4, 4, 64), "div_f32": (12, 4, 64)},
    "labelling": {
        "cc6_smooth": (1, 2, 32), "cc26_smooth": (1, 2, 32), "cc6_parts": (1, 2, 32), "cc26_parts": (1, 2, 32),
        "cc6_noise": (1, 2, 32), "cc26_noise": (1, 2, 32), "keep26_parts": (1, 1, 16)},
    "morphology": {
        "dil_ball1": (1, 1, 16), "dil_ball2": (1, 1, 16), "dil_ball3": (1, 1, 16), "dil_cube2": (1, 1, 16),
        "ero_ball1": (1, 1, 16), "ero_ball2": (1, 1, 16), "ero_ball3": (1, 1, 16), "ero_cube2": (1, 1, 16)},
    "distance": {
        "dist_object": (1, 2, 32), "dist_boundary": (1, 2, 32), "boundary_smooth": (1, 1, 16),
        "boundary_parts": (1, 1, 16)},
    "gauss": {
        "gauss3_f32": (4, 4, 64), "gauss3_i16": (2, 2, 32), "gauss3_u8": (1, 1, 16), "gauss8_f32": (4, 4, 64)},
    "box": {
        "box3_i16": (2, 2, 32), "box3_f32": (4, 4, 64), "box11_i16": (2, 2, 32), "box11_f32": (4, 4, 64)},
    "sampling": {
        "sub_fast_i16": (2, 0.25, 32), "sub_mean_i16": (2, 0.25, 32), "sub_max_i16": (2, 0.25, 32),
        "resample_rot_i16": (2, 2, 32), "resample_fine_i16": (0.25, 2, 32)},
    "reslice": {
        "slice_axial_i16": None, "slice_coronal_i16": None, "slice_sagittal_i16": None, "reslice_oblique_i16": None,
        "mip_oblique_i16": (2, 0, 32), "raysum_f32": (4, 0, 64)},
    "geometry": {
        "masscentre_i16": (2, 0, 32), "maindirs_i16": (2, 0, 32), "clip_plane_i16": (2, 2, 32), "obb_u8": (1, 1, 16),
        "merge_f32": (5.7, 4, 64)},
    # No peer does these; they are compared with the limit and with each other.
    "without_peers": {
        "threshold_u8": (1, 1, 16), "threshold_i16": (2, 1, 32), "threshold_f32": (4, 1, 64),
        "countnonzero_mask": (1, 0, 16), "boundingbox_mask": (1, 0, 16), "keepconnected6_parts": (1, 1, 16),
        "keepconnected26_parts": (1, 1, 16), "holeclosing_shell": (1, 1, 16), "noiseeraser_i16": (2, 2, 32),
        "threshold_erode_label_i16": None, "replace_i16_polled": None},
}
GROUPS_WITHOUT_PEERS = ("without_peers",)

# What the headers promise on top of the inputs, in MiB at 256^3: the result, where the operation makes it, and scratch.
# Everything else works in place or into the caller's volume, with scratch of rows or tables far below a slice.
PROMISED_MEMORY = {
    "median_f32": "3 % of the voxels at 4 to 12 B: 2 to 6", "otsu_i16": "a few", "otsu_f32": "a few",
    "grad_f32": "192", "grad_i16": "192", "gradnorm_f32": "64", "div_f32": "64",
    **dict.fromkeys("cc6_smooth cc26_smooth cc6_parts cc26_parts cc6_noise cc26_noise".split(), "32 + 2 to 6 B a run"),
    "keep26_parts": "16 + 2 to 6 B a run", "dist_object": "32", "dist_boundary": "32",
    "boundary_smooth": "16", "boundary_parts": "16",
    "gauss3_f32": "8 float slices: 2", "gauss3_i16": "2", "gauss3_u8": "2", "gauss8_f32": "18 float slices: 4.5",
    "box3_i16": "32 + 4 double slices: 34", "box3_f32": "66", "box11_i16": "32 + 12 double slices: 38", "box11_f32": "70",
    "sub_fast_i16": "4", "sub_mean_i16": "4", "sub_max_i16": "4", "resample_rot_i16": "0.13", "resample_fine_i16": "0.5",
    "maindirs_i16": "24 B a counted voxel", "merge_f32": "90", "noiseeraser_i16": "50 slices at 5 B a voxel: 16",
    "keepconnected6_parts": "16 + 2 B a run", "keepconnected26_parts": "16 + 2 B a run",
    "threshold_erode_label_i16": "48 + 2 to 6 B a run", "holeclosing_shell": "16 + 48 + 8 B a waiting voxel",
}

# At least one operation of each family; the edges besides 256.
SCALING = ["add_f32", "median_i16", "grad_f32", "cc26_parts", "dil_ball2", "dist_object", "gauss3_f32", "box11_i16",
           "resample_rot_i16", "mip_oblique_i16", "clip_plane_i16"]
SCALING_EDGES = (128, 384, 512)

# Peers that do something else (other arithmetic, approximate results) are timed but are never "the fastest peer".
NOT_EQUAL = ("Euclidean", "reference", "IIR", "own kernel", "truncates", "float32 pairwise", "float32)", "approximate",
             "saturates", "bilinear")

# kind "peer": times ahead of the fastest peer whose name holds `against`, at least; "limit": multiple of the memory limit,
# at most; "own": multiple of our own workload named `against`, at most.
Target = collections.namedtuple("Target", "workload kind factor threads against")


def _targets():
    def peer(names, factor, threads=1, against=""):
        return [Target(name, "peer", factor, threads, against) for name in names.split()]

    def limit(names, factor, threads=1):
        return [Target(name, "limit", factor, threads, "") for name in names.split()]

    return [
        *peer("add_u8 add_i16 add_f32 min_i16 max_f32 countnz_u8 countnz_i16 bbox_i16", 1),
        *peer("replace_i16 replace_f32", 1), *limit("replace_i16 replace_f32", 1.5, 2),
        *peer("rescale_i16", 3, against="plain"), *peer("conv_i16_f32 conv_f32_i16", 1),
        *peer("mean_u8 mean_i16 meannz_u8", 1.5), *peer("mean_f32", 1),
        *peer("median_u8 median_i16", 1), *peer("median_u8 median_i16", 1.5, 2, "count table"),
        *peer("median_f32", 3, against="numpy"), *peer("otsu_i16", 1), *peer("otsu_f32", 2),
        *peer("grad_f32 grad_i16", 2.5), *peer("grad_f32 grad_i16", 4, 2), *peer("gradnorm_f32", 5),
        *peer("div_f32", 4),
        *peer("cc6_smooth cc26_smooth cc6_parts cc26_parts", 2.5, against="ITK"),
        *peer("cc6_noise cc26_noise", 5, against="ITK"), *peer("keep26_parts", 4),
        *peer("dil_ball1 dil_ball2 dil_ball3 dil_cube2 ero_ball1 ero_ball2 ero_ball3 ero_cube2", 10),
        *peer("dist_object dist_boundary", 10, against="chessboard"), *peer("boundary_smooth boundary_parts", 4),
        *limit("threshold_u8 threshold_i16 threshold_f32 countnonzero_mask boundingbox_mask", 2),
        Target("keepconnected6_parts", "own", 1.5, 1, "cc6_parts"),
        Target("keepconnected26_parts", "own", 1.5, 1, "cc26_parts"),
        Target("holeclosing_shell", "own", 12, 1, "dist_object"),
        *peer("gauss3_f32 gauss3_i16 gauss3_u8", 5), *peer("gauss8_f32", 4),
        *peer("gauss3_f32 gauss3_i16 gauss3_u8", 9, 2), *peer("gauss8_f32", 7.2, 2),
        *peer("box3_i16 box3_f32 box11_i16 box11_f32", 2), *peer("sub_fast_i16", 1),
        *peer("sub_mean_i16 sub_max_i16", 2), *peer("resample_rot_i16 resample_fine_i16", 4, against="ITK"),
        Target("noiseeraser_i16", "own", 2, 1, "threshold_erode_label_i16"),
        *peer("slice_axial_i16 slice_coronal_i16", 1), *peer("slice_sagittal_i16", 1.5, against="plain"),
        *peer("reslice_oblique_i16", 3), *peer("mip_oblique_i16", 8), *peer("raysum_f32", 6),
        *peer("masscentre_i16", 3), *peer("maindirs_i16", 0.5, against="numpy"), *peer("clip_plane_i16", 1),
        *peer("obb_u8", 20), *peer("merge_f32", 1.5),
    ]


TARGETS = _targets()
