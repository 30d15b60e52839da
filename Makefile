# The commands of the README. Everything else is CMake's: see CMakePresets.json.

.PHONY: demo check trust servers mail-clients phones bench search deb try-deb docs dist dependencies

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

# Addresses completed in mutt, neomutt and aerc; the screens stay in build/mail-clients/screens.
mail-clients:
	@scripts/install-dependencies.sh tmux mutt neomutt aerc
	cmake --preset release
	cmake --build --preset release --target contactmgr_tool
	scripts/mail-clients.sh build/release/contactmgr build/mail-clients

# A phone's address book through vdirsyncer and Radicale, and the exports in khard and vobject.
# EFFORT=--long takes many minutes.
phones:
	@scripts/install-dependencies.sh vdirsyncer radicale khard python3-vobject
	cmake --preset release
	cmake --build --preset release --target contactmgr_tool
	scripts/phones.sh $(EFFORT) build/release/contactmgr

# Beside floors and other programs, some minutes on an idle machine. Writes docs/performance.md and
# docs/scale.md. The other programs are packages that nothing else here wants; PEERS=--no-peers does
# without.
bench:
	@[ -n "$(PEERS)" ] || scripts/install-dependencies.sh libedata-book1.2-dev \
	    libebook-contacts1.2-dev libkf5contacts-dev python3-vobject khard abook maildir-utils notmuch
	cmake --preset release
	cmake --build --preset release --target contactmgr_bench contactmgr_scale contactmgr_tool
	scripts/bench.sh $(PEERS) build/release

# The search of addresses beside other programs, on 1,000 to 100,000 items. Writes docs/search.md.
search:
	@scripts/install-dependencies.sh khard abook maildir-utils notmuch
	cmake --preset release
	cmake --build --preset release --target contactmgr_tool
	rm -rf build/search && mkdir -p build/search
	/usr/bin/python3 -B bench/search.py build/search build/release/contactmgr docs/search.md
	rm -rf build/search

# The Debian packages, into build/deb. `make try-deb` tries them in a bare root; wants root.
deb:
	@scripts/install-dependencies.sh debhelper dpkg-dev lintian
	scripts/make-deb.sh build/deb

try-deb: deb
	@scripts/install-dependencies.sh mmdebstrap
	scripts/try-deb.sh build/deb

# The reference of the installed headers, build/docs/html/index.html.
docs:
	@scripts/install-dependencies.sh doxygen
	cmake --preset release
	cmake --build --preset release --target docs

# The archive of a release from the last commit, into build. It needs no git.
dist:
	@mkdir -p build
	version=$$(sed -n 's/^    VERSION //p' CMakeLists.txt) && \
	    git archive --prefix=contactmgr-$$version/ --output=build/contactmgr-$$version.tar.gz HEAD

dependencies:
	@scripts/install-dependencies.sh
