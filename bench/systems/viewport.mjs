/** Of the browsers that watch: a window that leaves some room on a desktop of 1920x1080. */
export const kViewport = { width: 1280, height: 720 };
