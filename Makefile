# A thin front of the CMake presets; `make run` and `make test` are all a newcomer needs.
.PHONY: help build run test bench fuzz dauer bilder mutation check asan tsan format pakete bundle archiv package clean

help:
	@echo "make run     installs what is missing, builds, and tries the program on sample receipts"
	@echo "make test    installs what is missing, builds, and runs all tests"
	@echo "make build   builds build/release"
	@echo "make bench   measures against peers (CORPUS=DIR: on the documents of a folder; FOTOS=DIR: photographs)"
	@echo "make fuzz    lets each fuzz target search for ZEIT seconds (60); SAAT=DIR: from these files"
	@echo "make dauer   drives the program through bad days for MINUTEN (60); SAAT=N repeats a series"
	@echo "make bilder  takes the pictures of docs/bilder anew; make mutation: whether tests can fail"
	@echo "make bundle  makes Quillmate.app as people get it; make archiv: its archive; make package: the .deb"
	@echo "make check   format, lint, the tests under both sanitizer builds, and two minutes of make dauer"

pakete:
	@scripts/pakete-installieren

build: pakete
	@scripts/bauen release

run: build
	@scripts/vorfuehren

test: build
	@ctest --preset release -j2

bench: pakete
	@scripts/pakete-installieren bench
	@scripts/bauen release bench
	@build/release/bin/quillmate-bench $(if $(CORPUS),--korpus "$(CORPUS)") $(if $(FOTOS),--fotos "$(FOTOS)") \
	  $(if $(VORHER),--vorher "$(VORHER)") $(if $(ABLAGE),--ablage "$(ABLAGE)") \
	  $(if $(and $(CORPUS),$(FOTOS)),--tabelle bench/README.md)

fuzz: pakete
	@scripts/pakete-installieren fuzz
	@scripts/fuzzen $(if $(ZEIT),--zeit $(ZEIT)) $(if $(SAAT),--saat "$(SAAT)")

bundle: pakete
	@packaging/buendel

archiv: pakete
	@packaging/archiv

package: pakete
	@scripts/pakete-installieren paket
	@packaging/paket

dauer: pakete
	@scripts/bauen release quillmate-dauer
	@build/release/bin/quillmate-dauer --minuten $(or $(MINUTEN),60) $(if $(SAAT),--saat $(SAAT))

bilder: pakete
	@scripts/bauen release quillmate-bilder
	@build/release/bin/quillmate-bilder docs/bilder

mutation: pakete
	@scripts/mutation

format:
	@scripts/format-pruefen

asan: pakete
	@scripts/bauen asan
	@ctest --preset asan -j2

tsan: pakete
	@scripts/bauen tsan
	@scripts/ohne-adresswuerfeln ctest --preset tsan -j2

check: format
	@scripts/pakete-installieren pruefung
	@scripts/lint
	@$(MAKE) --no-print-directory asan tsan
	@$(MAKE) --no-print-directory dauer MINUTEN=2

clean:
	rm -rf build
