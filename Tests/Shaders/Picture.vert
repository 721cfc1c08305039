#version 150

uniform vec2 offset;

// Two triangles that cover the window, without vertex data, front sides to the viewer.
void main() {
    vec2 corner = vec2(gl_VertexID & 1, gl_VertexID >> 1) * 2.0 - 1.0;
    gl_Position = vec4(corner + offset, 0.0, 1.0);
}
