# The commands of the README. Everything else is CMake's: see CMakePresets.json.

.PHONY: demo check trust servers dependencies

demo: dependencies
	cmake --preset release
	cmake --build --preset release --target contactmgr_tool
	scripts/demo.sh build/release/contactmgr build/demo

check:
	@scripts/install-dependencies.sh clang-tidy-14 mandoc groff-base zsh
	cmake --preset release
	cmake --build --preset release
	ctest --preset release --parallel $$(nproc)
	scripts/check-format.sh
	scripts/check-tidy.sh

# The long trials on every file system that can be mounted here; wants root. EFFORT=--quick is short.
trust:
	@scripts/install-dependencies.sh xfsprogs btrfs-progs e2fsprogs bindfs fuse3 \
	    glusterfs-server glusterfs-client ceph-mon ceph-osd ceph-mds ceph-fuse ceph-common
	cmake --preset release
	cmake --build --preset release --target contactmgr_trust
	scripts/trust.sh $(EFFORT) build/release/tests/contactmgr_trust

# Every form of location with Dovecot itself; wants root. MAILS=FOLDER compares further messages.
servers:
	@scripts/install-dependencies.sh dovecot-core dovecot-imapd
	cmake --preset release
	cmake --build --preset release --target contactmgr_tool
	scripts/servers.sh build/release/contactmgr $(MAILS)

dependencies:
	@scripts/install-dependencies.sh
