#version 150

uniform vec4 colour;

out vec4 fragment;

void main() {
    fragment = colour;
}
