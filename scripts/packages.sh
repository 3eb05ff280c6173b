# The Debian 12 packages that the project is built with; sourced by the scripts.
BUILD_PACKAGES=(g++ cmake ninja-build pkg-config qt6-base-dev libgl-dev libtbb-dev libeigen3-dev)
TEST_PACKAGES=(libgtest-dev)
BENCH_PACKAGES=(libbenchmark-dev)
EXAMPLE_PACKAGES=(libinsighttoolkit5-dev libfftw3-dev)
PEER_PACKAGES=(libinsighttoolkit5-dev libfftw3-dev python3 python3-scipy python3-skimage)
