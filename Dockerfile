# The tool in a container: a stage that builds its Debian package, and one that has that package installed and no more.
# Documentation/Places.md says how it is run.

FROM debian:12-slim AS builder
WORKDIR /tovra
# Alone, so that a change of the sources does not install everything again.
COPY Scripts/setup Scripts/host Scripts/
RUN Scripts/setup package
COPY . .
# How many compilers run at once; one for each processor by default.
ARG CMAKE_BUILD_PARALLEL_LEVEL
RUN SOURCE_DATE_EPOCH=$(dpkg-parsechangelog --file Packaging/Debian/changelog --show-field Timestamp) Scripts/package

FROM debian:12-slim AS runtime
COPY --from=builder /tovra/build/package/packages/tovra-fieldhost-setup-tool_*.deb /package/
# What it recommends, for OpenGL, but not what those packages recommend in turn.
RUN apt-get update \
    && apt-get install --yes --no-install-recommends /package/*.deb \
        $(dpkg-deb --field /package/*.deb Recommends | tr --delete ,) \
    && apt-get clean \
    && rm -r /package /var/lib/apt/lists/* \
    && useradd --create-home tovra
USER tovra
ENTRYPOINT ["TovraFieldhostSetupTool"]
CMD ["-CheckOpenGL"]
