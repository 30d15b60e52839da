# The two commands of the README. Everything else is CMake's: see CMakePresets.json.

.PHONY: demo check dependencies

demo: dependencies
	cmake --preset release
	cmake --build --preset release --target contactmgr_tool
	scripts/demo.sh build/release/contactmgr build/demo

check: dependencies
	cmake --preset release
	cmake --build --preset release
	ctest --preset release --parallel $$(nproc)
	scripts/check-format.sh

dependencies:
	@scripts/install-dependencies.sh
